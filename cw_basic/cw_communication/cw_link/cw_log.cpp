#include "cw_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace cw::log {

namespace {

// Appends to a buffer of `size` bytes the way snprintf writes: every byte is counted, those that
// fit are stored, and one byte is kept for the terminating NUL.
class Appender {
public:
    Appender(char *buf, size_t size) : buf_(buf), size_(size), room_(size != 0 ? size - 1 : 0) {}

    void bytes(const char *s, size_t n) {
        if (len_ < room_) {
            std::memcpy(buf_ + len_, s, std::min(n, room_ - len_));
        }
        len_ += n;
    }

    void blanks(size_t n) {
        if (len_ < room_) {
            std::memset(buf_ + len_, ' ', std::min(n, room_ - len_));
        }
        len_ += n;
    }

    size_t finish() {
        if (size_ != 0) {
            buf_[std::min(len_, room_)] = '\0';
        }
        return len_;
    }

private:
    char *buf_;
    size_t size_;
    size_t room_;
    size_t len_ = 0;
};

// Writes the decimal digits of v so that they end at `end`; returns where they start. `width`
// digits at least, with leading zeros.
char *decimal(char *end, uint32_t v, int width = 1) {
    do {
        *--end = static_cast<char>('0' + v % 10);
        v /= 10;
        --width;
    } while (v != 0 || width > 0);
    return end;
}

// A 64-bit value in blocks of nine digits, so that the digits themselves need only 32-bit
// divisions (a 64-bit one is a library call on 32-bit ARM; a boot time needs one at most).
char *decimal(char *end, uint64_t v) {
    constexpr uint32_t kBlock = 1000000000;
    while (v > UINT32_MAX) {
        end = decimal(end, static_cast<uint32_t>(v % kBlock), 9);
        v /= kBlock;
    }
    return decimal(end, static_cast<uint32_t>(v));
}

}  // namespace

size_t usrlog_head(char *buf, size_t size, uint64_t boot_time, const char *func, int line) {
    constexpr size_t kTimeWidth = 10;
    constexpr size_t kNameWidth = 25;
    Appender out(buf, size);

    char digits[20];
    char *const end = digits + sizeof digits;
    const char *start = decimal(end, boot_time);
    const auto time_len = static_cast<size_t>(end - start);
    if (time_len < kTimeWidth) {
        out.blanks(kTimeWidth - time_len);
    }
    out.bytes(start, time_len);

    out.bytes(" USRLOG[", 8);
    const size_t name_len = std::strlen(func);
    out.bytes(func, name_len);
    if (name_len < kNameWidth) {
        out.blanks(kNameWidth - name_len);
    }
    out.bytes(" :", 2);

    const uint32_t magnitude = line < 0 ? 0u - static_cast<uint32_t>(line) : static_cast<uint32_t>(line);
    char *sign_at = decimal(end, magnitude);
    if (line < 0) {
        *--sign_at = '-';
    }
    out.bytes(sign_at, static_cast<size_t>(end - sign_at));
    out.bytes("]:: ", 4);
    return out.finish();
}

void usrlog(const char *func, int line, const char *fmt, ...) {
    uint64_t boot_time = 0;
    mbus_osal_get_boot_time(&boot_time);

    char buf[kUsrlogSize];
    size_t len = usrlog_head(buf, sizeof buf, boot_time, func, line);
    if (len < sizeof buf - 1) {
        va_list args;
        va_start(args, fmt);
        const int text =
            std::vsnprintf(&buf[len], sizeof buf - len, fmt, args);  // NOLINT(clang-analyzer-valist.Uninitialized)
        va_end(args);
        if (text > 0) {
            len += static_cast<size_t>(text);
        }
    }
    // A line longer than the buffer is cut at its end.
    if (len > sizeof buf - 1) {
        len = sizeof buf - 1;
    }
    mbus_dump_write("usrlog", buf, static_cast<uint32_t>(len));
}

}  // namespace cw::log
