// The library's two diagnostic channels on the middleware.
//
// CW_LOG(level, fmt, ...)  the leveled log (module 68): the middleware builds the line head from
//                          this source file, the calling function and the call's line; a head
//                          refused by the middleware (level filtered out) prints nothing.
// CW_USRLOG(fmt, ...)      one line on the "usrlog" dump channel:
//                          "<boot time> USRLOG[<function> :<line>]:: <text>".
// CW_LOG_BOTH(level, ...)  the same text on both channels, leveled first.
//
// Always log at the site, from the function that does the work: the macros capture __func__
// and __LINE__ there, so a line names the command that wrote it. A body shared by several
// exported functions takes the name from its caller and logs with CW_LOG_AS / CW_USRLOG_AS.
// Inside a command's outcome handler (cw_command.h) the macros name the exported function the
// handler is written in: the handler carries that name as cw_site_func_.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mbus.h"

namespace cw::log {

inline constexpr uint32_t kModule = 68;
inline constexpr uint32_t kHeadSize = 128;
inline constexpr size_t kUsrlogSize = 1024;
inline constexpr uint32_t kFail = 1;  // failures
inline constexpr uint32_t kInfo = 3;  // successes and state changes

// A source path as the leveled log shows it: relative to the build directory (the compiler maps
// the source root to "../") and without the file extension.
template <size_t N>
struct SourceName {
    std::array<char, N> text{};
};

template <size_t N>
consteval SourceName<N> source_name(const char (&path)[N]) {
    size_t end = N - 1;
    for (size_t i = N - 1; i > 0; --i) {
        if (path[i - 1] == '/') {
            break;
        }
        if (path[i - 1] == '.') {
            end = i - 1;
            break;
        }
    }
    SourceName<N> out;
    for (size_t i = 0; i < end; ++i) {
        out.text[i] = path[i];
    }
    return out;
}

// Writes one usrlog line for function `func` at source line `line`: the head
// "%10llu USRLOG[%-25s :%d]:: " of the boot time, the function and the line, then the text. The line is formatted into
// a 1024-byte stack buffer; a longer one is cut, and at most 1023 bytes reach the channel.
void usrlog(const char *func, int line, const char *fmt, ...) __attribute__((format(printf, 3, 4)));

// The function a log line names: the calling function's own (the compiler's name of the function
// the call stands in, as __func__ gives it), or the exported function an outcome handler was
// written in.
struct NoSite {};
constexpr const char *site_func(NoSite /*outside a handler*/, const char *func = __builtin_FUNCTION()) { return func; }
constexpr const char *site_func(const char *site) { return site; }

}  // namespace cw::log

// Outside an outcome handler the name is the calling function's.
static constexpr ::cw::log::NoSite cw_site_func_{};
#define CW_FUNC ::cw::log::site_func(cw_site_func_)

#define CW_SRC_FILE                                                            \
    ([]() -> const char * {                                                    \
        static constexpr auto cw_src_name_ = ::cw::log::source_name(__FILE__); \
        return cw_src_name_.text.data();                                       \
    }())

#define CW_LOG(level, ...) CW_LOG_AS(CW_FUNC, level, __VA_ARGS__)

// The same, naming `func` instead of the calling function: for a body shared by several
// exported functions, each of which passes its own __func__.
#define CW_LOG_AS(func, level, ...)                                                                             \
    do {                                                                                                        \
        char cw_head_[::cw::log::kHeadSize];                                                                    \
        if (mbus_log_gen_head(::cw::log::kModule, (level), cw_head_, ::cw::log::kHeadSize, CW_SRC_FILE, (func), \
                              __LINE__) == 0) {                                                                 \
            mbus_log_print(::cw::log::kModule, (level), cw_head_, __VA_ARGS__);                                 \
        }                                                                                                       \
    } while (0)

#define CW_USRLOG(...) CW_USRLOG_AS(CW_FUNC, __VA_ARGS__)
#define CW_USRLOG_AS(func, ...) ::cw::log::usrlog((func), __LINE__, __VA_ARGS__)

#define CW_LOG_BOTH(level, ...)     \
    do {                            \
        CW_LOG(level, __VA_ARGS__); \
        CW_USRLOG(__VA_ARGS__);     \
    } while (0)

// The same lines at a source line given at the site. A command's log lines carry the line they
// have always carried in the aircraft's logs, which tools and people search by; written as a
// number at the site, the line stays whatever the layout of the code around it.
#define CW_LOG_AT(line, level, ...)                                                                              \
    do {                                                                                                         \
        char cw_head_[::cw::log::kHeadSize];                                                                     \
        if (mbus_log_gen_head(::cw::log::kModule, (level), cw_head_, ::cw::log::kHeadSize, CW_SRC_FILE, CW_FUNC, \
                              (line)) == 0) {                                                                    \
            mbus_log_print(::cw::log::kModule, (level), cw_head_, __VA_ARGS__);                                  \
        }                                                                                                        \
    } while (0)
#define CW_USRLOG_AT(line, ...) ::cw::log::usrlog(CW_FUNC, (line), __VA_ARGS__)
#define CW_LOG_BOTH_AT(line, level, ...)     \
    do {                                     \
        CW_LOG_AT(line, level, __VA_ARGS__); \
        CW_USRLOG_AT(line, __VA_ARGS__);     \
    } while (0)
