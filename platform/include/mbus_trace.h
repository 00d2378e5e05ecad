/* The link trace of the host middleware stand-in (libmbus.so), not part of the aircraft's
 * middleware. The trace is chosen when the stand-in is loaded, by the environment:
 *   MBUS_TRACE=path        every request, answer and push as a decoded text line (- for stderr)
 *   MBUS_PCAP=path         the same traffic as a capture for Wireshark with the cirrow dissector
 *   MBUS_TRACE_SUMMARY=1   the summary below on stderr when the process exits
 * A file that cannot be opened, or another value of MBUS_TRACE_SUMMARY, stops the process. */
#ifndef MBUS_TRACE_H
#define MBUS_TRACE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The summary of the traffic so far (whether or not a trace is written): a total line, then per
 * message its count, failed requests with their results, refused answers and dropped pushes.
 * Copies at most cap - 1 bytes and a NUL into buf; returns the summary's full length. */
size_t mbus_trace_summary(char *buf, size_t cap);

#ifdef __cplusplus
}
#endif

#endif /* MBUS_TRACE_H */
