/**
 * @file cw_common.h
 * @brief Common definitions of the cirrow public headers: export marker, result codes, C/C++ glue.
 */
#ifndef CIRROW_CW_COMMON_H
#define CIRROW_CW_COMMON_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
/** @brief Marks a function or object as exported from libcirrow.so. */
#define CW_API __attribute__((visibility("default")))
#else
#define CW_API
#endif

#ifdef __cplusplus
/** @brief Opens the C-linkage block of a header (empty in C). */
#define CW_EXTERN_C_BEGIN extern "C" {
/** @brief Closes the C-linkage block of a header (empty in C). */
#define CW_EXTERN_C_END }
/** @brief A compile-time check of a record's layout, in C and C++. */
#define CW_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define CW_EXTERN_C_BEGIN
#define CW_EXTERN_C_END
#define CW_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

/** @brief Success. Any other value returned by the middleware's link is passed through unchanged
 *  (the request could not be sent, or no answer came in time). */
#define CW_OK 0
/** @brief The module answered, but its result byte was non-zero or the answer did not match. */
#define CW_ERR_ACK (-1001)
/** @brief No memory for a request whose payload length depends on the arguments; nothing was sent. */
#define CW_ERR_NOMEM (-1002)
/** @brief An argument failed the function's test (a null pointer, a length or value out of range);
 *  nothing was sent. */
#define CW_ERR_PARAM (-1003)

#endif /* CIRROW_CW_COMMON_H */
