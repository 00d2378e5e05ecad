// Reading and writing the table's fields in a message's bytes, little-endian, byte by byte.
#include "link_messages.h"

#include <cmath>
#include <cstring>

namespace cw::trace {

namespace {

const uint8_t *element(const Field &f, const uint8_t *p, size_t i) { return p + f.offset + i * type_size(f.type); }

uint64_t read_le(const uint8_t *p, size_t n) {
    uint64_t v = 0;
    for (size_t k = n; k > 0; --k) {
        v = v << 8 | p[k - 1];
    }
    return v;
}

void write_le(uint8_t *p, size_t n, uint64_t v) {
    for (size_t k = 0; k < n; ++k) {
        p[k] = static_cast<uint8_t>(v >> (8 * k));
    }
}

}  // namespace

uint64_t get_uint(const Field &f, const uint8_t *p, size_t i) { return read_le(element(f, p, i), type_size(f.type)); }

int64_t get_int(const Field &f, const uint8_t *p, size_t i) {
    const uint64_t v = get_uint(f, p, i);
    switch (f.type) {
        case Type::I16:
            return static_cast<int16_t>(v);
        case Type::I32:
            return static_cast<int32_t>(v);
        default:
            return static_cast<int64_t>(v);
    }
}

double get(const Field &f, const uint8_t *p, size_t i) {
    const uint64_t v = get_uint(f, p, i);
    if (f.type == Type::F32) {
        float x;
        const auto bits = static_cast<uint32_t>(v);
        std::memcpy(&x, &bits, sizeof x);
        return x;
    }
    if (f.type == Type::F64) {
        double x;
        std::memcpy(&x, &v, sizeof x);
        return x;
    }
    if (f.type == Type::U64) {
        return static_cast<double>(v);
    }
    return static_cast<double>(get_int(f, p, i));
}

void put(const Field &f, uint8_t *p, double value, size_t i) {
    uint64_t bits;
    if (f.type == Type::F32) {
        const auto x = static_cast<float>(value);
        uint32_t b;
        std::memcpy(&b, &x, sizeof b);
        bits = b;
    } else if (f.type == Type::F64) {
        std::memcpy(&bits, &value, sizeof bits);
    } else if (value < 0) {
        bits = static_cast<uint64_t>(static_cast<int64_t>(std::llround(value)));
    } else {
        bits = static_cast<uint64_t>(std::round(value));
    }
    write_le(p + f.offset + i * type_size(f.type), type_size(f.type), bits);
}

}  // namespace cw::trace
