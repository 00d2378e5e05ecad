#include "cw_log.h"

#include <cstdarg>
#include <cstdio>

namespace cw::log {

void usrlog(const char *func, int line, const char *fmt, ...) {
    uint64_t boot_time = 0;
    mbus_osal_get_boot_time(&boot_time);

    char buf[kUsrlogSize];
    const int head = std::snprintf(
        buf, sizeof buf, "%10llu USRLOG[%-25s :%d]:: ", static_cast<unsigned long long>(boot_time), func, line);
    if (head < 0) {
        return;
    }
    size_t len = static_cast<size_t>(head);
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
