// The leveled log, the dump channels and the boot clock, with their control functions.
#include <time.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "host.h"

using mbus::copy_text;
using mbus::Dump;
using mbus::Line;
using mbus::st;
using mbus::State;

namespace {

// What the last head accepted on this thread described; the next print on the thread uses it.
struct Head {
    uint32_t line;
    char file[256];
    char func[128];
};
thread_local Head t_head{};

// The readable echo: the text of the last leveled line echoed on this thread, so that its usrlog
// twin (the library writes many lines to both) is not echoed again.
thread_local char t_last[256];

void echo_leveled(FILE *f, const char *head, const char *text) {
    if (!mbus::config().readable) {
        std::fprintf(f, "%s%s", head ? head : "", text);
        return;
    }
    copy_text(t_last, sizeof t_last, text);
    const size_t n = std::strlen(text);
    std::fprintf(f, "%slibrary  %s: %s%s", mbus::kReadableIndent, t_head.func, text,
                 n > 0 && text[n - 1] == '\n' ? "" : "\n");
}

// A usrlog line "<boot time> USRLOG[<function> :<line>]:: <text>" as "library  <function>: <text>".
void echo_usrlog(FILE *f, const char *data, uint32_t len) {
    const std::string_view line(data, len);
    const size_t open = line.find("USRLOG[");
    const size_t close = line.find("]:: ");
    if (!mbus::config().readable || open == std::string_view::npos || close == std::string_view::npos || close < open) {
        std::fwrite(data, 1, len, f);
        return;
    }
    std::string_view func = line.substr(open + 7, close - open - 7);
    func = func.substr(0, func.find(' '));
    const std::string_view text = line.substr(close + 4);
    if (text == t_last) {
        t_last[0] = '\0';
        return;
    }
    std::fprintf(f, "%slibrary  %.*s: %.*s%s", mbus::kReadableIndent, static_cast<int>(func.size()), func.data(),
                 static_cast<int>(text.size()), text.data(), text.ends_with('\n') ? "" : "\n");
}

// The sink behind an echoed channel: the file named by env, opened on first use, else stderr.
// In readable echo the application's own pending lines go out first: its stdout is block-buffered
// when it is a file or a pipe, and its lines and the library's would come out of order.
FILE *sink(FILE *&f, const char *env) {
    if (mbus::config().readable) {
        std::fflush(stdout);
    }
    if (f == nullptr) {
        const char *path = std::getenv(env);
        if (path != nullptr && *path != '\0') {
            f = std::fopen(path, "a");
            if (f == nullptr) {
                std::fprintf(stderr, "mbus: cannot open %s=%s, writing to stderr\n", env, path);
            }
        }
        if (f == nullptr) {
            f = stderr;
        }
    }
    return f;
}

}  // namespace

extern "C" {

int32_t mbus_log_gen_head(uint32_t module, uint32_t level, char *head, uint32_t head_size, const char *file,
                          const char *func, uint32_t line) {
    State &s = st();
    {
        std::lock_guard<std::mutex> lock(s.mu);
        ++s.heads;
        if (level > s.max_level) {
            return 1;
        }
    }
    if (head != nullptr && head_size > 0) {
        std::snprintf(head, head_size, "[%u][L%u] %s:%s:%u ", module, level, file ? file : "", func ? func : "", line);
    }
    t_head.line = line;
    copy_text(t_head.file, sizeof t_head.file, file);
    copy_text(t_head.func, sizeof t_head.func, func);
    return 0;
}

int32_t mbus_log_print(uint32_t module, uint32_t level, const char *head, const char *fmt, ...) {
    char text[2048];
    text[0] = '\0';
    if (fmt != nullptr) {
        va_list ap;
        va_start(ap, fmt);
        std::vsnprintf(text, sizeof text, fmt, ap);
        va_end(ap);
    }
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.logs.add(Line{module, level, t_head.line, t_head.file, t_head.func, text});
    if (s.echo.load()) {
        FILE *f = sink(s.log_sink, "MBUS_LOG_FILE");
        echo_leveled(f, head, text);
        std::fflush(f);
    }
    return 0;
}

int32_t mbus_dump_write(const char *channel, const char *data, uint32_t len) {
    State &s = st();
    Dump d{channel != nullptr ? channel : "", len, {}};
    if (data != nullptr) {
        d.data.assign(data, std::min<size_t>(len, sizeof(mbus_ctl_dump_t::data) - 1));
    }
    std::lock_guard<std::mutex> lock(s.mu);
    s.dumps.add(std::move(d));
    if (s.echo.load() && data != nullptr && len > 0) {
        FILE *f = sink(s.usr_sink, "MBUS_USRLOG_FILE");
        echo_usrlog(f, data, len);
        std::fflush(f);
    }
    return 0;
}

void mbus_osal_get_boot_time(uint64_t *boot_time) {
    if (boot_time == nullptr) {
        return;
    }
    State &s = st();
    uint64_t fixed;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        fixed = s.boot_time;
    }
    if (fixed != 0) {
        *boot_time = fixed;
        return;
    }
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    *boot_time = static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u -
                 s.boot_origin.load(std::memory_order_relaxed);
}

uint32_t mbus_ctl_log_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.logs.size();
}

int mbus_ctl_log_get(uint32_t index, mbus_ctl_log_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    const Line *l = s.logs.at(index);
    if (l == nullptr || out == nullptr) {
        return -1;
    }
    std::memset(out, 0, sizeof *out);
    out->module = l->module;
    out->level = l->level;
    out->line = l->line;
    copy_text(out->file, sizeof out->file, l->file.c_str());
    copy_text(out->func, sizeof out->func, l->func.c_str());
    copy_text(out->text, sizeof out->text, l->text.c_str());
    return 0;
}

uint32_t mbus_ctl_log_head_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.heads;
}

void mbus_ctl_set_log_level(uint32_t max_level) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.max_level = max_level;
}

uint32_t mbus_ctl_dump_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.dumps.size();
}

int mbus_ctl_dump_get(uint32_t index, mbus_ctl_dump_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    const Dump *d = s.dumps.at(index);
    if (d == nullptr || out == nullptr) {
        return -1;
    }
    std::memset(out, 0, sizeof *out);
    copy_text(out->channel, sizeof out->channel, d->channel.c_str());
    out->len = d->len;
    std::memcpy(out->data, d->data.data(), d->data.size());  // at most 2047 bytes, NUL after them
    return 0;
}

void mbus_ctl_set_boot_time(uint64_t boot_time) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.boot_time = boot_time;
}

void mbus_ctl_set_echo(int on) { st().echo.store(on != 0); }

}  // extern "C"
