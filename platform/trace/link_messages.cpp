// Reading and writing the table's fields in a message's bytes, little-endian, at any offset.
#include "link_messages.h"

#include <cmath>

#include "cw_bytes.h"

namespace cw::trace {

namespace {

const uint8_t *element(const Field &f, const uint8_t *p, size_t i) { return p + f.offset + i * type_size(f.type); }

// The n bytes of a field's element (1, 2, 4 or 8), as the library's byte helpers read and write them.
uint64_t read_le(const uint8_t *p, size_t n) {
    switch (n) {
        case 2:
            return le::get<uint16_t>(p, 0);
        case 4:
            return le::get<uint32_t>(p, 0);
        case 8:
            return le::get<uint64_t>(p, 0);
        default:
            return p[0];
    }
}

void write_le(uint8_t *p, size_t n, uint64_t v) {
    switch (n) {
        case 2:
            return le::put<uint16_t>(p, 0, static_cast<uint16_t>(v));
        case 4:
            return le::put<uint32_t>(p, 0, static_cast<uint32_t>(v));
        case 8:
            return le::put<uint64_t>(p, 0, v);
        default:
            p[0] = static_cast<uint8_t>(v);
    }
}

}  // namespace

uint64_t get_uint(const Field &f, const uint8_t *p, size_t i) { return read_le(element(f, p, i), type_size(f.type)); }

int64_t get_int(const Field &f, const uint8_t *p, size_t i) {
    const uint64_t v = get_uint(f, p, i);
    const size_t bits = 8 * type_size(f.type);
    if (type_info(f.type).sint && bits < 64 && (v >> (bits - 1) & 1) != 0) {
        return static_cast<int64_t>(v | ~uint64_t{0} << bits);  // sign-extended
    }
    return static_cast<int64_t>(v);
}

double get(const Field &f, const uint8_t *p, size_t i) {
    const uint8_t *e = element(f, p, i);
    if (f.type == Type::F32) {
        return le::get<float>(e, 0);
    }
    if (f.type == Type::F64) {
        return le::get<double>(e, 0);
    }
    if (f.type == Type::U64) {
        return static_cast<double>(get_uint(f, p, i));
    }
    return static_cast<double>(get_int(f, p, i));
}

void put(const Field &f, uint8_t *p, double value, size_t i) {
    uint8_t *e = p + f.offset + i * type_size(f.type);
    if (f.type == Type::F32) {
        le::put<float>(e, 0, static_cast<float>(value));
    } else if (f.type == Type::F64) {
        le::put<double>(e, 0, value);
    } else if (value < 0) {
        write_le(e, type_size(f.type), static_cast<uint64_t>(static_cast<int64_t>(std::llround(value))));
    } else {
        write_le(e, type_size(f.type), static_cast<uint64_t>(std::round(value)));
    }
}

}  // namespace cw::trace
