// Tear-free cache cells for the module caches.
//
// A record in a cache is written by the middleware's delivery thread (or by an application
// through an update function) and read by any number of polling threads. Latest<T> is a
// sequence-counted cell: a writer never waits for a reader, and a reader retries until it has
// copied a record that no writer touched meanwhile, so it never sees one half-written.
// Writers exclude one another with the counter itself; a write is a copy of a few dozen bytes,
// so a second writer waits at most that long. The words are moved with relaxed atomics
// ordered by fences around the counter, so the race detector sees no data race.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "cw_args.h"

namespace cw {

namespace cell_detail {
#if defined(__SANITIZE_THREAD__)
// ThreadSanitizer does not model fences: order each word itself instead (same guarantees).
inline constexpr std::memory_order kWordStore = std::memory_order_release;
inline constexpr std::memory_order kWordLoad = std::memory_order_acquire;
inline void fence(std::memory_order) {}
#else
inline constexpr std::memory_order kWordStore = std::memory_order_relaxed;
inline constexpr std::memory_order kWordLoad = std::memory_order_relaxed;
inline void fence(std::memory_order order) { std::atomic_thread_fence(order); }
#endif
}  // namespace cell_detail

template <class T>
class Latest {
    static_assert(std::is_trivially_copyable_v<T>, "a cache record is plain bytes");
    static constexpr size_t kWords = (sizeof(T) + sizeof(uint32_t) - 1) / sizeof(uint32_t);

public:
    constexpr Latest() = default;

    void store(const T &v) {
        uint32_t buf[kWords] = {};
        std::memcpy(buf, &v, sizeof(T));
        write_words(buf);
    }

    // Overwrites the record with zero bytes.
    void clear() {
        const uint32_t buf[kWords] = {};
        write_words(buf);
    }

    T load() const {
        uint32_t buf[kWords];
        for (;;) {
            const uint32_t before = seq_.load(std::memory_order_acquire);
            if ((before & 1u) == 0) {
                for (size_t i = 0; i < kWords; ++i) {
                    buf[i] = words_[i].load(cell_detail::kWordLoad);
                }
                cell_detail::fence(std::memory_order_acquire);
                if (seq_.load(std::memory_order_relaxed) == before) {
                    break;
                }
            }
        }
        T out;
        std::memcpy(&out, buf, sizeof(T));
        return out;
    }

    // Generation of the record: advances by one on every store.
    uint32_t generation() const { return seq_.load(std::memory_order_acquire) / 2; }

private:
    void write_words(const uint32_t *buf) {
        uint32_t seq = seq_.load(std::memory_order_relaxed);
        for (;;) {
            if ((seq & 1u) == 0 &&
                seq_.compare_exchange_weak(seq, seq + 1, std::memory_order_acquire, std::memory_order_relaxed)) {
                break;
            }
            seq = seq_.load(std::memory_order_relaxed);
        }
        cell_detail::fence(std::memory_order_release);
        for (size_t i = 0; i < kWords; ++i) {
            words_[i].store(buf[i], cell_detail::kWordStore);
        }
        seq_.store(seq + 2, std::memory_order_release);
    }

    std::atomic<uint32_t> seq_{0};
    std::atomic<uint32_t> words_[kWords] = {};
};

// A single-word cache item: one atomic access per read or write.
template <class T>
class Word {
    static_assert(std::atomic<T>::is_always_lock_free, "a cache word is one lock-free access");

public:
    constexpr Word() = default;
    constexpr explicit Word(T v) : v_(v) {}
    void store(T v) { v_.store(v, std::memory_order_relaxed); }
    T load() const { return v_.load(std::memory_order_relaxed); }

private:
    std::atomic<T> v_{};
};

// ---- Accessors: the one way every cache is published to and copied from ----
//
// A record is published from the caller's (or a push handler's decoded) record straight into
// the cell, and copied out byte for byte, padding included. All return 0, or CW_ERR_PARAM for a
// null pointer (nothing stored or copied).

template <class T>
int32_t publish(Latest<T> &cell, const T *rec) {
    CW_REQUIRE(rec);
    cell.store(*rec);
    return 0;
}

// The first `len` bytes of a record from a caller's byte buffer; the rest of the record is 0.
template <class T>
int32_t publish(Latest<T> &cell, const void *bytes, size_t len) {
    CW_REQUIRE(bytes);
    T rec{};
    std::memcpy(&rec, bytes, len);
    return publish(cell, &rec);
}

// The first `len` bytes of the record out to a caller's byte buffer.
template <class T>
int32_t copy(const Latest<T> &cell, void *out, size_t len) {
    CW_REQUIRE(out);
    const T rec = cell.load();
    std::memcpy(out, &rec, len);
    return 0;
}

template <class T>
int32_t copy(const Latest<T> &cell, T *out) {
    return copy(cell, static_cast<void *>(out), sizeof(T));
}

template <class T>
int32_t publish(Word<T> &cell, std::type_identity_t<T> value) {
    cell.store(value);
    return 0;
}

template <class T>
int32_t publish(Word<T> &cell, const T *value) {
    CW_REQUIRE(value);
    return publish(cell, *value);
}

// A word copied out, narrowed to the getter's width.
template <class T, class Out>
int32_t copy(const Word<T> &cell, Out *out) {
    CW_REQUIRE(out);
    *out = static_cast<Out>(cell.load());
    return 0;
}

// An exported C object (plain storage that applications may also touch) read and written as
// one atomic access from inside the library.
template <class T>
T load_exported(T &obj) {
    return std::atomic_ref<T>(obj).load(std::memory_order_relaxed);
}

template <class T>
void store_exported(T &obj, T v) {
    std::atomic_ref<T>(obj).store(v, std::memory_order_relaxed);
}

}  // namespace cw
