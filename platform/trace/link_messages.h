// The link's message table as the host tools read it: the rows (cw_messages.h, shared with the
// library) and the reading and writing of their fields' values in a message's bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "cw_messages.h"

namespace cw::trace {

using namespace cw::link;  // NOLINT(google-build-using-namespace): the table's names, as trace::

// Element `i` of a numeric field read from the message `p` (which holds that element's bytes):
// as the field's integer (signed types sign-extended into int64_t) or as a double.
int64_t get_int(const Field &f, const uint8_t *p, size_t i = 0);
uint64_t get_uint(const Field &f, const uint8_t *p, size_t i = 0);
double get(const Field &f, const uint8_t *p, size_t i = 0);
// Writes element `i` of a numeric field into `p` (rounded and wrapped to the field's type).
void put(const Field &f, uint8_t *p, double value, size_t i = 0);

}  // namespace cw::trace
