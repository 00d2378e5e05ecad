// Tear-free cache cells for the module caches.
//
// A record in a cache is written by the middleware's delivery thread (or by an application
// through an update function) and read by any number of polling threads. Latest<T> is a
// sequence-counted cell: a writer never waits for a reader, and a reader retries until it has
// copied a record that no writer touched meanwhile, so it never sees one half-written.
//
// Writers exclude one another with the counter itself: one atomic or makes it odd. Two
// writers can exist (the delivery thread and an application's update call) and neither is
// known in advance, so one atomic read-modify-write per store is the least that excludes them;
// uncontended it costs one locked instruction (an exclusive load/store pair on ARM), and a
// second writer waits at most one copy of a few dozen bytes. With readers polling in a tight loop
// on another core that instruction waits for the cell's line to come back, about 1.5x what moving
// the bytes alone costs then; separate lines for counter and record, a writers' lock on a line of
// its own, or two slots and an index only add lines to take back (bench/cw_contention).
//
// The record is moved with plain memcpy between fences. Readers can copy bytes while a writer
// changes them, but such a copy is never used: a reader keeps what it copied only when the
// counter was even before the copy and unchanged after it. The writer's release fence (after
// the counter turns odd, before the bytes) and the reader's acquire fence (after the bytes,
// before the counter is read again) make a reader that saw any byte of a write also see the
// counter that write changed. On ARM both fences are a dmb; on x86 they cost nothing.
// ThreadSanitizer does not model fences and reports the plain copies, so a build under it moves
// the record in words through acquire/release atomics instead (same guarantees).
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
inline constexpr bool kAtomicCopies = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr bool kAtomicCopies = true;
#else
inline constexpr bool kAtomicCopies = false;
#endif
#else
inline constexpr bool kAtomicCopies = false;
#endif

// A record and its counter share a cache line (up to 60 bytes of record), and no two cells share
// one: a writer takes one line from the readers, not two.
inline constexpr size_t kLine = 64;

// The record's bytes: plain storage copied with memcpy, or (under ThreadSanitizer) words moved
// with acquire/release atomics.
template <size_t N, bool Atomic = kAtomicCopies>
struct RecordStorage {
    unsigned char b[N] = {};
    void write(const void *src, size_t len) { std::memcpy(b, src, len); }
    void fill_zero() { std::memset(b, 0, N); }
    void read(void *dst, size_t len) const { std::memcpy(dst, b, len); }
    template <class Fill>
    auto fill(Fill f) {
        return f(b);
    }
};

template <size_t N>
struct RecordStorage<N, true> {
    static constexpr size_t kWords = (N + 3) / 4;
    std::atomic<uint32_t> w[kWords] = {};
    void write(const void *src, size_t len) {
        uint32_t buf[kWords];
        for (size_t i = 0; i < kWords; ++i) {
            buf[i] = w[i].load(std::memory_order_relaxed);  // the writer holds the cell
        }
        std::memcpy(buf, src, len);
        for (size_t i = 0; i < kWords; ++i) {
            w[i].store(buf[i], std::memory_order_release);
        }
    }
    void fill_zero() {
        for (auto &x : w) {
            x.store(0, std::memory_order_release);
        }
    }
    void read(void *dst, size_t len) const {
        uint32_t buf[kWords];
        for (size_t i = 0; i < kWords; ++i) {
            buf[i] = w[i].load(std::memory_order_acquire);
        }
        std::memcpy(dst, buf, len);
    }
    // The record laid out in a word buffer, then stored word by word.
    template <class Fill>
    auto fill(Fill f) {
        uint32_t buf[kWords] = {};
        auto r = f(reinterpret_cast<unsigned char *>(buf));
        for (size_t i = 0; i < kWords; ++i) {
            w[i].store(buf[i], std::memory_order_release);
        }
        return r;
    }
};

}  // namespace cell_detail

template <class T>
class alignas(cell_detail::kLine) Latest {
    static_assert(std::is_trivially_copyable_v<T>, "a cache record is plain bytes");

public:
    constexpr Latest() = default;

    void store(const T &v) { store_bytes(&v, sizeof(T)); }

    // Overwrites the record with zero bytes.
    void clear() {
        const uint32_t seq = lock();
        bytes_.fill_zero();
        unlock(seq);
    }

    T load() const {
        T out;
        load_bytes(&out, sizeof(T));
        return out;
    }

    // The record copied straight to `dst` (see load_bytes).
    void load(T *dst) const { load_bytes(dst, sizeof(T)); }

    // The first `len` bytes of the record (len <= sizeof(T)) from `src`; the others keep theirs.
    void store_bytes(const void *src, size_t len) {
        const uint32_t seq = lock();
        bytes_.write(src, len);
        unlock(seq);
    }

    // Lays the record out in place while holding the cell: `fill(unsigned char *rec)` writes
    // every one of its sizeof(T) bytes and no other, and may count under the hold whatever only
    // writers touch; what it returns is returned. No record is staged on the writer's stack.
    // Other writers wait while it runs: keep it to moving bytes.
    template <class Fill>
    auto write(Fill fill) {
        const uint32_t seq = lock();
        auto r = bytes_.fill(fill);
        unlock(seq);
        return r;
    }

    // Copies the first `len` bytes of the record (len <= sizeof(T)) to `dst`. `dst` may be
    // written more than once before the call returns; what it holds then is one whole record.
    void load_bytes(void *dst, size_t len) const {
        for (;;) {
            const uint32_t before = seq_.load(std::memory_order_acquire);
            if ((before & 1u) == 0) {
                bytes_.read(dst, len);
                fence(std::memory_order_acquire);
                if (seq_.load(std::memory_order_relaxed) == before) {
                    return;
                }
            }
        }
    }

    // Changes the stored record in place with `change(T &)`, as one store: no other writer runs
    // between the read and the write.
    template <class Change>
    void update(Change change) {
        const uint32_t seq = lock();
        T v;
        bytes_.read(&v, sizeof(T));
        change(v);
        bytes_.write(&v, sizeof(T));
        unlock(seq);
    }

private:
    static void fence(std::memory_order order) {
        if constexpr (!cell_detail::kAtomicCopies) {
            std::atomic_thread_fence(order);
        }
    }

    // Makes the counter odd (excluding other writers) and returns its value before: setting the
    // low bit is the one atomic instruction (lock bts on x86), and whoever found it clear owns
    // the cell; setting it again while another writer owns it changes nothing.
    uint32_t lock() {
        // Under ThreadSanitizer, which does not see the fence, the exchange itself acquires.
        constexpr auto order = cell_detail::kAtomicCopies ? std::memory_order_acquire : std::memory_order_relaxed;
        while ((seq_.fetch_or(1u, order) & 1u) != 0) {
            while ((seq_.load(std::memory_order_relaxed) & 1u) != 0) {
            }
        }
        // Acquire: this write follows the previous writer's. Release: the odd counter is seen
        // before any of the bytes written next.
        fence(std::memory_order_acq_rel);
        return seq_.load(std::memory_order_relaxed) - 1;  // only the owner changes it now
    }

    void unlock(uint32_t seq) { seq_.store(seq + 2, std::memory_order_release); }

    std::atomic<uint32_t> seq_{0};
    cell_detail::RecordStorage<sizeof(T)> bytes_;
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

    // Moves the word from `from` to `to`; does nothing (and returns false) when it holds anything
    // else by then, so a value written meanwhile (an application's reset) is never overwritten by
    // a transition computed from the old one.
    bool advance(T from, T to) { return v_.compare_exchange_strong(from, to, std::memory_order_relaxed); }

    // Replaces the word with change(old) as one atomic step; `change` may run more than once.
    template <class Change>
    void update(Change change) {
        T old = v_.load(std::memory_order_relaxed);
        while (!v_.compare_exchange_weak(old, change(old), std::memory_order_relaxed)) {
        }
    }

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

// The first `len` bytes of a record from a caller's byte buffer; the rest of the record keeps
// what it holds (zero: only the sensor record's spare last byte is ever left out).
template <class T>
int32_t publish(Latest<T> &cell, const void *bytes, size_t len) {
    CW_REQUIRE(bytes);
    cell.store_bytes(bytes, len);
    return 0;
}

// The first `len` bytes of the record, straight to a caller's byte buffer.
template <class T>
int32_t copy(const Latest<T> &cell, void *out, size_t len) {
    CW_REQUIRE(out);
    cell.load_bytes(out, len);
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
