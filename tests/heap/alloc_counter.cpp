#include "alloc_counter.h"

#include <dlfcn.h>

#include <atomic>
#include <cstddef>

#include <cirrow/cw_link.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define CWT_HEAP_INTERPOSE 0
#else
#define CWT_HEAP_INTERPOSE 1
#endif

namespace {

std::atomic<uint32_t> g_allocs{0};
std::atomic<uint32_t> g_frees{0};
std::atomic<uint32_t> g_fail{0};

// Counts one allocation by the library; false when it is to fail. The allocation functions below
// fail the library's allocations while a failure is pending.
[[maybe_unused]] bool granted() {
    ++g_allocs;
    uint32_t n = g_fail.load();
    while (n > 0 && !g_fail.compare_exchange_weak(n, n - 1)) {
    }
    return n == 0;
}
thread_local bool t_inside = false;

[[maybe_unused]] bool from_library(void *ret) {
    if (t_inside) {
        return false;
    }
    t_inside = true;
    Dl_info lib{};
    Dl_info caller{};
    const bool hit = dladdr(reinterpret_cast<void *>(&cw_link_v1_send), &lib) != 0 && dladdr(ret, &caller) != 0 &&
                     lib.dli_fbase == caller.dli_fbase;
    t_inside = false;
    return hit;
}

}  // namespace

#if CWT_HEAP_INTERPOSE
extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void __libc_free(void *);

void *malloc(size_t n) { return from_library(__builtin_return_address(0)) && !granted() ? nullptr : __libc_malloc(n); }

void *calloc(size_t n, size_t size) {
    return from_library(__builtin_return_address(0)) && !granted() ? nullptr : __libc_calloc(n, size);
}

void *realloc(void *p, size_t n) {
    return from_library(__builtin_return_address(0)) && !granted() ? nullptr : __libc_realloc(p, n);
}

void free(void *p) {
    if (p != nullptr && from_library(__builtin_return_address(0))) {
        ++g_frees;
    }
    __libc_free(p);
}
}
#endif

namespace cwt {

void heap_reset() {
    g_allocs = 0;
    g_frees = 0;
}

void heap_fail_next(uint32_t count) { g_fail = count; }

HeapCalls heap_calls() { return {g_allocs.load(), g_frees.load()}; }

bool heap_counting_available() { return CWT_HEAP_INTERPOSE != 0; }

}  // namespace cwt
