/* Common definitions of the cirrow public headers: export marker, result codes, C/C++ glue. */
#ifndef CIRROW_CW_COMMON_H
#define CIRROW_CW_COMMON_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define CW_API __attribute__((visibility("default")))
#else
#define CW_API
#endif

#ifdef __cplusplus
#define CW_EXTERN_C_BEGIN extern "C" {
#define CW_EXTERN_C_END }
#define CW_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define CW_EXTERN_C_BEGIN
#define CW_EXTERN_C_END
#define CW_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

/* Result codes. 0 is success; any other value returned by the middleware's link is passed
 * through unchanged (the request could not be sent, or no answer came in time). */
#define CW_OK 0
/* The module answered, but its result byte was non-zero or the answer did not match. */
#define CW_ERR_ACK (-1001)
/* No memory for a request whose payload length depends on the arguments; nothing was sent. */
#define CW_ERR_NOMEM (-1002)
/* An argument failed the command's range test, or a pointer argument was null; nothing was sent. */
#define CW_ERR_PARAM (-1003)

#endif /* CIRROW_CW_COMMON_H */
