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
    Appender(char *buf, size_t size, size_t len = 0)
        : buf_(buf), size_(size), room_(size != 0 ? size - 1 : 0), len_(len) {}

    void bytes(const char *s, size_t n) {
        if (len_ + n <= room_) {
            std::memcpy(buf_ + len_, s, n);  // the usual case; a length known at the call is copied inline
        } else if (len_ < room_) {
            std::memcpy(buf_ + len_, s, room_ - len_);
        }
        len_ += n;
    }

    void blanks(size_t n) {
        if (len_ < room_) {
            std::memset(buf_ + len_, ' ', std::min(n, room_ - len_));
        }
        len_ += n;
    }

    size_t size() const { return len_; }

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
    size_t len_;
};

// Writes the decimal digits of v so that they end at `end`, two at a time; returns where they
// start. `width` digits at least, with leading zeros.
char *decimal(char *end, uint32_t v, int width = 1) {
    static constexpr char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    char *start = end;
    while (v >= 100) {
        const uint32_t pair = v % 100;
        v /= 100;
        start -= 2;
        std::memcpy(start, &kPairs[2 * pair], 2);
    }
    if (v >= 10) {
        start -= 2;
        std::memcpy(start, &kPairs[2 * v], 2);
    } else {
        *--start = static_cast<char>('0' + v);
    }
    while (end - start < width) {
        *--start = '0';
    }
    return start;
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

// %d and %u.
void put_decimal(Appender &out, uint32_t magnitude, bool negative = false) {
    char digits[11];
    char *const end = digits + sizeof digits;
    char *start = decimal(end, magnitude);
    if (negative) {
        *--start = '-';
    }
    out.bytes(start, static_cast<size_t>(end - start));
}

void put_decimal(Appender &out, int v) {
    put_decimal(out, v < 0 ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v), v < 0);
}

// %x.
void put_hex(Appender &out, uint32_t v) {
    char digits[8];
    char *const end = digits + sizeof digits;
    char *start = end;
    do {
        *--start = "0123456789abcdef"[v & 0xF];
        v >>= 4;
    } while (v != 0);
    out.bytes(start, static_cast<size_t>(end - start));
}

// The head into `out`, byte for byte what "%10llu USRLOG[%-25s :%d]:: " makes of it.
void write_head(Appender &out, uint64_t boot_time, const char *func, int line) {
    constexpr size_t kTimeWidth = 10;
    constexpr size_t kNameWidth = 25;
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
    put_decimal(out, line);
    out.bytes("]:: ", 4);
}

// The analyser does not follow a va_list started by the caller.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)
// The text of a line when every conversion in it is a plain %d, %u, %x, %s, %c or %% (no
// flags, width, precision or length), as printf writes it: the library's own lines. False, with
// the arguments partly consumed, at the first other conversion.
bool write_text(Appender &out, const char *fmt, va_list args) {
    for (const char *c = fmt;;) {
        const char *pct = std::strchr(c, '%');
        if (pct == nullptr) {
            out.bytes(c, std::strlen(c));
            return true;
        }
        out.bytes(c, static_cast<size_t>(pct - c));
        switch (pct[1]) {
            case 'd':
                put_decimal(out, va_arg(args, int));
                break;
            case 'u':
                put_decimal(out, va_arg(args, unsigned));
                break;
            case 'x':
                put_hex(out, va_arg(args, unsigned));
                break;
            case 's': {
                const char *text = va_arg(args, const char *);
                text = text != nullptr ? text : "(null)";
                out.bytes(text, std::strlen(text));
                break;
            }
            case 'c': {
                const auto ch = static_cast<char>(va_arg(args, int));
                out.bytes(&ch, 1);
                break;
            }
            case '%':
                out.bytes("%", 1);
                break;
            default:
                return false;
        }
        c = pct + 2;
    }
}
// NOLINTEND(clang-analyzer-valist.Uninitialized)

}  // namespace

namespace {

// The whole line into buf; its length, which may be more than the buffer holds. Kept out of
// usrlog(), so that the formatting's own state does not add to the line buffer's frame.
[[gnu::noinline]] size_t format_line(char (&buf)[kUsrlogSize], uint64_t boot_time, const char *func, int line,
                                     const char *fmt, va_list args) {
    Appender out(buf, sizeof buf);
    write_head(out, boot_time, func, line);
    const size_t head = out.size();
    va_list again;
    va_copy(again, args);
    size_t len = 0;
    if (write_text(out, fmt, args)) {
        len = out.finish();
    } else if (head < sizeof buf - 1) {
        // Any other format: printf writes the text.
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        const int text = std::vsnprintf(&buf[head], sizeof buf - head, fmt, again);
        len = head + static_cast<size_t>(std::max(text, 0));
    } else {
        len = Appender(buf, sizeof buf, head).finish();
    }
    va_end(again);
    return len;
}

}  // namespace

void usrlog(const char *func, int line, const char *fmt, ...) {
    uint64_t boot_time = 0;
    mbus_osal_get_boot_time(&boot_time);

    char buf[kUsrlogSize];
    va_list args;
    va_start(args, fmt);
    const size_t len = format_line(buf, boot_time, func, line, fmt, args);
    va_end(args);
    // A line longer than the buffer is cut at its end.
    mbus_dump_write("usrlog", buf, static_cast<uint32_t>(std::min(len, sizeof buf - 1)));
}

}  // namespace cw::log
