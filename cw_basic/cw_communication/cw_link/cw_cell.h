// Tear-free cache cells for the module caches.
//
// A record in a cache is written by the middleware's delivery thread (or by an application
// through an update function) and read by any number of polling threads, some of them control
// loops at a real-time priority that may share a processor with the writer. Latest<T> keeps two
// slots and one counter. A write goes to the slot that is not published, then publishes it, so a
// writer stopped halfway through a record (preempted, or stopped in a debugger) leaves the last
// finished record whole and readable.
//
// The counter: bit 0 is set while a writer holds the cell; every write adds 2 in all (1 when it
// takes the cell, 1 when it publishes), so counter / 2 counts the finished writes and its bit 1
// names the published slot, whether a write is under way or not. A write k goes to slot k % 2.
//
// What each side may wait for, and for how long at most:
// - A reader waits for nobody. It copies the published slot and keeps the copy unless, meanwhile,
//   one write finished and the next one started on the slot it was copying (the counter moved by
//   3 or more from the even value it started from). A retry therefore needs a writer to have run
//   through a whole record while the reader copied one: it cannot happen while a writer is
//   stopped, so a reader that preempted a writer copies once and returns.
// - A writer that finds the cell held by another writer (the delivery thread and an application's
//   update call on one record) spins for at most kSpins turns (a few microseconds: the other
//   writer's copy, if it runs on another processor), then naps kNapNs at a time, giving its
//   processor away, until the holder has finished. It never spins on a holder that is not
//   running: a holder of lower priority on the same processor runs during the nap and finishes
//   its copy of at most 64 bytes. The wait lasts as long as the holder needs to be scheduled and
//   finish, plus at most one nap; like any lock without priority inheritance, a third thread that
//   keeps the holder's processor busy at a priority above the holder's prolongs it. Writers of one
//   record are rare (an update function and a push for the same record at the same moment), and
//   the fast path stays one atomic instruction with nothing added to release the cell: a
//   priority-inheriting lock (the owner's thread id in the word, a second atomic instruction to
//   release it) or a wake-up on release would cost every push more than its record's copy.
// - The status words (Word<T>) never wait: a store is one atomic store, advance() one
//   compare-and-swap that gives up when the word moved, and update() retries its
//   compare-and-swap only when another thread changed the word in between, which that thread
//   did by finishing its own update.
//
// The record is moved with plain memcpy between fences. The writer's release fence after the
// counter turns odd, before the bytes, and the reader's acquire fence after the bytes, before the
// counter is read again, make a reader that saw any byte of a write also see the counter that
// write changed. On 32-bit ARM (ARMv7-A) each of the writer's fences, its release store and the
// reader's acquire load and fence is a `dmb ish`: the data memory barrier over the inner
// shareable domain is the one ordering instruction ARMv7 has for both loads and stores between
// processors (it has no load-acquire or store-release instructions); taking the cell is an
// ldrex/strex pair followed by the same barrier. On x86 every fence here costs nothing but the
// one locked instruction that takes the cell. ThreadSanitizer does not model fences and reports
// the plain copies, so a build under it moves the record in words through acquire/release atomics
// instead (same guarantees).
#pragma once

#include <sys/syscall.h>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
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

// A cell starts on a cache line of its own; no two cells share one.
inline constexpr size_t kLine = 64;

// Turns a writer spins on a held cell before it naps, and the length of one nap.
inline constexpr int kSpins = 100;
inline constexpr long kNapNs = 50'000;

inline void cpu_relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__arm__) || defined(__aarch64__)
    __asm__ __volatile__("yield");
#endif
}

// One nap. On x86-64 the system call is made in place and saves what it uses (past the red
// zone), so that a writer's fast path stays a leaf that keeps its registers: nothing is moved or
// saved there for a path it almost never takes.
inline void nap() {
#if defined(__x86_64__)
    static_assert(kNapNs < (1l << 31), "a nap's nanoseconds are one pushed immediate");
    __asm__ __volatile__(
        "lea -128(%%rsp), %%rsp\n\t"
        "push %%rdi\n\t"
        "push %%rsi\n\t"
        "push %[ns]\n\t"
        "push $0\n\t"
        "mov %%rsp, %%rdi\n\t"
        "xor %%esi, %%esi\n\t"
        "mov %[nr], %%eax\n\t"
        "syscall\n\t"
        "add $16, %%rsp\n\t"
        "pop %%rsi\n\t"
        "pop %%rdi\n\t"
        "lea 128(%%rsp), %%rsp"
        :
        : [ns] "i"(kNapNs), [nr] "i"(SYS_nanosleep)
        : "rax", "rcx", "r11", "memory", "cc");
#else
    const timespec t{0, kNapNs};
    nanosleep(&t, nullptr);
#endif
}

// Waits until no writer holds the cell (bit 0 of `seq` clear): a bounded spin, then naps that
// give the processor away, so that the holder runs and finishes whatever its priority. Only a
// second writer of one record ever comes here.
inline void wait_for_holder(const std::atomic<uint32_t> &seq) {
    for (int turn = 0; (seq.load(std::memory_order_relaxed) & 1u) != 0; ++turn) {
        if (turn < kSpins) {
            cpu_relax();
        } else {
            nap();
        }
    }
}

// The distance between the two slots: a power of two that holds the record (64 bytes for every
// record of the caches), so a slot's offset is the counter shifted and masked.
constexpr size_t slot_stride(size_t n) {
    size_t s = 8;
    while (s < n) {
        s *= 2;
    }
    return s;
}

template <class S, size_t Pad>
struct PaddedSlot {
    S s;
    unsigned char pad[Pad];
};
template <class S>
struct PaddedSlot<S, 0> {
    S s;
};

constexpr int log2_of(size_t n) { return n <= 1 ? 0 : 1 + log2_of(n / 2); }

// The record's bytes: plain storage copied with memcpy, or (under ThreadSanitizer) words moved
// with acquire/release atomics.
template <size_t N, bool Atomic = kAtomicCopies>
struct RecordStorage {
    unsigned char b[N] = {};
    void write(const void *src, size_t len) { std::memcpy(b, src, len); }
    void fill_zero() { std::memset(b, 0, N); }
    void read(void *dst, size_t len) const { std::memcpy(dst, b, len); }
    // Bytes from `len` on, copied from another slot's record (the writer holds both).
    void write_tail(const RecordStorage &from, size_t len) { std::memcpy(b + len, from.b + len, N - len); }
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
    void write_tail(const RecordStorage &from, size_t len) {
        unsigned char buf[N];
        from.read(buf, N);
        uint32_t words[kWords];
        for (size_t i = 0; i < kWords; ++i) {
            words[i] = w[i].load(std::memory_order_relaxed);
        }
        std::memcpy(reinterpret_cast<unsigned char *>(words) + len, buf + len, N - len);
        for (size_t i = 0; i < kWords; ++i) {
            w[i].store(words[i], std::memory_order_release);
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
        const auto store = [&] {
            for (size_t i = 0; i < kWords; ++i) {
                w[i].store(buf[i], std::memory_order_release);
            }
        };
        if constexpr (std::is_void_v<decltype(f(nullptr))>) {
            f(reinterpret_cast<unsigned char *>(buf));
            store();
        } else {
            auto r = f(reinterpret_cast<unsigned char *>(buf));
            store();
            return r;
        }
    }
};

}  // namespace cell_detail

template <class T>
class alignas(cell_detail::kLine) Latest {
    static_assert(std::is_trivially_copyable_v<T>, "a cache record is plain bytes");
    using Storage = cell_detail::RecordStorage<sizeof(T)>;
    static constexpr size_t kStride = cell_detail::slot_stride(sizeof(Storage));
    static constexpr int kShift = cell_detail::log2_of(kStride) - 1;
    // A slot padded to the stride: the first starts right after the counter.
    using Slot = cell_detail::PaddedSlot<Storage, kStride - sizeof(Storage)>;
    static_assert(sizeof(Slot) == kStride, "slots one stride apart");

public:
    constexpr Latest() = default;

    void store(const T &v) {
        if constexpr (sizeof(T) <= 16) {  // a record of up to two registers is kept in them
            hold([v](Storage &to, const Storage &) { to.write(&v, sizeof(T)); });
        } else {
            hold([&v](Storage &to, const Storage &) { to.write(&v, sizeof(T)); });
        }
    }

    // Overwrites the record with zero bytes.
    void clear() {
        hold([](Storage &to, const Storage &) { to.fill_zero(); });
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
        hold([src, len](Storage &to, const Storage &from) {
            to.write(src, len);
            if (len < sizeof(T)) {
                to.write_tail(from, len);
            }
        });
    }

    // Lays the record out in place while holding the cell: `fill(unsigned char *rec)` writes
    // every one of its sizeof(T) bytes and no other, and may count under the hold whatever only
    // writers touch; what it returns is returned. No record is staged on the writer's stack.
    // Other writers wait while it runs: keep it to moving bytes.
    template <class Fill>
    auto write(Fill fill) {
        return hold([fill](Storage &to, const Storage &) { return to.fill(fill); });
    }

    // Copies the first `len` bytes of the record (len <= sizeof(T)) to `dst`. `dst` may be
    // written more than once before the call returns; what it holds then is one whole record.
    // Never waits for a writer (see the head of this file).
    void load_bytes(void *dst, size_t len) const {
        // Bound: a turn is repeated only when, during it, a writer finished a whole write and
        // started the next on the slot copied; a stopped writer ends the loop on the next turn.
        for (;;) {
            const uint32_t before = seq_.load(std::memory_order_acquire);
            published(before).read(dst, len);
            fence(std::memory_order_acquire);
            // The slot read is rewritten by the write that starts after the next one finished.
            if (seq_.load(std::memory_order_relaxed) - (before & ~1u) <= 2) {
                return;
            }
        }
    }

    // Changes the stored record with `change(T &)`, as one store: no other writer runs between
    // the read and the write.
    template <class Change>
    void update(Change change) {
        hold([change](Storage &to, const Storage &from) {
            T v;
            from.read(&v, sizeof(T));
            change(v);
            to.write(&v, sizeof(T));
        });
    }

private:
    static void fence(std::memory_order order) {
        if constexpr (!cell_detail::kAtomicCopies) {
            std::atomic_thread_fence(order);
        }
    }

    // The published slot for a counter value, and the one the write after `seq` (even) goes to.
    const Storage &published(uint32_t seq) const {
        return reinterpret_cast<const Slot *>(reinterpret_cast<const unsigned char *>(slots_) +
                                              ((seq << kShift) & kStride))
            ->s;
    }
    Storage &next(uint32_t seq) {
        return reinterpret_cast<Slot *>(reinterpret_cast<unsigned char *>(slots_) + (((seq + 2) << kShift) & kStride))
            ->s;
    }

    // Runs `body(to, from)` holding the cell, `to` the slot the write goes to and `from` the
    // published one, then publishes `to`. Taking the cell is setting the counter's low bit, the
    // one atomic instruction (lock bts on x86); whoever found it clear holds the cell. A writer
    // that finds it set waits in wait_for_holder, in line: the fast path calls nothing, so it
    // saves nothing around a call it almost never makes.
    template <class Body>
    auto hold(Body body) {
        if ((seq_.fetch_or(1u, kTake) & 1u) != 0) [[unlikely]] {
            do {
                cell_detail::wait_for_holder(seq_);
            } while ((seq_.fetch_or(1u, kTake) & 1u) != 0);
        }
        return held(body);
    }

    template <class Body>
    auto held(Body &body) {
        // Acquire: this write follows the previous writer's. Release: the odd counter is seen
        // before any of the bytes written next.
        fence(std::memory_order_acq_rel);
        const uint32_t seq = seq_.load(std::memory_order_relaxed) - 1;  // only the holder changes it now
        if constexpr (std::is_void_v<decltype(body(next(seq), published(seq)))>) {
            body(next(seq), published(seq));
            release(seq);
        } else {
            auto r = body(next(seq), published(seq));
            release(seq);
            return r;
        }
    }

    // Under ThreadSanitizer, which does not see the fence, taking the cell itself acquires.
    static constexpr auto kTake = cell_detail::kAtomicCopies ? std::memory_order_acquire : std::memory_order_relaxed;

    // Publishes the slot just written: the counter even again, one write further.
    void release(uint32_t seq) { seq_.store(seq + 2, std::memory_order_release); }

    std::atomic<uint32_t> seq_{0};
    Slot slots_[2] = {};
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
