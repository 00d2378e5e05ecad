// The link's message table as the host tools read it: the rows (cw_messages.h, shared with the
// library) and the reading and writing of their fields' values in a message's bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "cw_messages.h"

namespace cw::trace {

using namespace cw::link;  // NOLINT(google-build-using-namespace): the table's names, as trace::

// A message's command set and id, as maps and sets of them are keyed: in order of set, then id.
struct SetId {
    uint8_t set;
    uint8_t id;
    friend constexpr auto operator<=>(const SetId &, const SetId &) = default;
};

// What the host tools know of each field type beyond its size (type_size): its name in the link
// reference, its kind in the Wireshark dissector, and how its value reads.
struct TypeInfo {
    const char *name;
    const char *proto;
    bool sint;  // a signed integer
    bool fp;    // floating point
};
inline constexpr TypeInfo kTypes[] = {
    {"u8", "uint8", false, false},   {"u16", "uint16", false, false}, {"u32", "uint32", false, false},
    {"u64", "uint64", false, false}, {"i16", "int16", true, false},   {"i32", "int32", true, false},
    {"f32", "float", false, true},   {"f64", "double", false, true},  {"bytes", "bytes", false, false},
};
static_assert(std::size(kTypes) == static_cast<size_t>(Type::Bytes) + 1, "one row per field type, in its order");
constexpr const TypeInfo &type_info(Type t) { return kTypes[static_cast<size_t>(t)]; }

// Element `i` of a numeric field read from the message `p` (which holds that element's bytes):
// as the field's integer (signed types sign-extended into int64_t) or as a double.
int64_t get_int(const Field &f, const uint8_t *p, size_t i = 0);
uint64_t get_uint(const Field &f, const uint8_t *p, size_t i = 0);
double get(const Field &f, const uint8_t *p, size_t i = 0);
// Writes element `i` of a numeric field into `p` (rounded and wrapped to the field's type).
void put(const Field &f, uint8_t *p, double value, size_t i = 0);

}  // namespace cw::trace
