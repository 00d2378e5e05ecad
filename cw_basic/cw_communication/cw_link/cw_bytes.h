// Packed little-endian byte access for payloads, answers and pushed messages.
//
// Fields on the link sit at any offset (a u16 at 23, an f32 at 1), so nothing here ever casts a
// byte pointer to a wider type. On a little-endian machine (the aircraft's ARM and the x86
// hosts) a field is its value's bytes as they are in memory, so it moves with one memcpy, which
// the compiler turns into a single load or store (unaligned accesses are allowed on both).
// Elsewhere, and in constant expressions, values are assembled from single bytes with shifts.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace cw::le {

template <class T>
concept Field = std::is_arithmetic_v<T> &&(sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8);

template <class T>
using Bits = std::conditional_t<
    sizeof(T) == 1, uint8_t,
    std::conditional_t<sizeof(T) == 2, uint16_t, std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>>;

// Writes v at p[off] as sizeof(T) little-endian bytes.
template <Field T>
constexpr void put(uint8_t *p, size_t off, T v) {
    if constexpr (std::endian::native == std::endian::little) {
        if (!std::is_constant_evaluated()) {
            std::memcpy(p + off, &v, sizeof(T));
            return;
        }
    }
    auto bits = std::bit_cast<Bits<T>>(v);
    for (size_t i = 0; i < sizeof(T); ++i) {
        p[off + i] = static_cast<uint8_t>(bits >> (8 * i));
    }
}

// Reads a little-endian T from p[off].
template <Field T>
constexpr T get(const uint8_t *p, size_t off) {
    if constexpr (std::endian::native == std::endian::little) {
        if (!std::is_constant_evaluated()) {
            T v;
            std::memcpy(&v, p + off, sizeof(T));
            return v;
        }
    }
    Bits<T> bits = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
        bits = static_cast<Bits<T>>(bits | static_cast<Bits<T>>(static_cast<Bits<T>>(p[off + i]) << (8 * i)));
    }
    return std::bit_cast<T>(bits);
}

// Reads n consecutive little-endian Ts from p[off] into out[0..n).
template <Field T>
constexpr void get_n(T *out, const uint8_t *p, size_t off, size_t n) {
    if constexpr (std::endian::native == std::endian::little) {
        if (!std::is_constant_evaluated()) {
            std::memcpy(out, p + off, n * sizeof(T));
            return;
        }
    }
    for (size_t i = 0; i < n; ++i) {
        out[i] = get<T>(p, off + i * sizeof(T));
    }
}

template <Field T, size_t N>
constexpr void put(std::array<uint8_t, N> &a, size_t off, T v) {
    put<T>(a.data(), off, v);
}

template <Field T, size_t N>
constexpr T get(const std::array<uint8_t, N> &a, size_t off) {
    return get<T>(a.data(), off);
}

// A value's little-endian bytes.
template <Field T>
constexpr std::array<uint8_t, sizeof(T)> bytes(T v) {
    std::array<uint8_t, sizeof(T)> out{};
    put<T>(out.data(), 0, v);
    return out;
}

// Lays out the arguments one after another, without gaps: pack<uint8_t, float>(mode, rate)
// gives a 5-byte payload with the mode at 0 and the rate at 1..4.
template <Field... T>
constexpr std::array<uint8_t, (sizeof(T) + ... + 0)> pack(std::type_identity_t<T>... v) {
    std::array<uint8_t, (sizeof(T) + ... + 0)> out{};
    size_t off = 0;
    ((put<T>(out.data(), off, v), off += sizeof(T)), ...);
    return out;
}

}  // namespace cw::le
