// Arguments at the library's door. Every exported function checks the pointers it is handed
// (and any length it would pass on to the link) before it does anything: a refused call of a
// function with a result returns CW_ERR_PARAM and sends nothing; one without a result returns
// at once.
//
//   CW_REQUIRE(status, len <= cw::kLinkMaxLen);   // in a function returning int32_t
//   CW_REQUIRE_VOID(pid);                         // in a function returning nothing
#pragma once

#include <cstddef>

#include "cirrow/cw_common.h"
#include "mbus.h"

namespace cw {

// The largest message the link carries, in bytes.
inline constexpr size_t kLinkMaxLen = MBUS_LINK_MAX_PAYLOAD;

// True when every argument is given: each pointer non-null, each condition true.
template <class... A>
constexpr bool all_given(const A &...args) {
    return (static_cast<bool>(args) && ...);
}

}  // namespace cw

#define CW_REQUIRE(...)                      \
    do {                                     \
        if (!::cw::all_given(__VA_ARGS__)) { \
            return CW_ERR_PARAM;             \
        }                                    \
    } while (0)

#define CW_REQUIRE_VOID(...)                 \
    do {                                     \
        if (!::cw::all_given(__VA_ARGS__)) { \
            return;                          \
        }                                    \
    } while (0)
