// Rate limits for log lines written on every pushed message, one counter per site. The counters
// are atomic, so two handlers running at once cannot corrupt them.
#pragma once

#include <atomic>
#include <cstdint>

namespace cw {

class Throttle {
public:
    constexpr Throttle() = default;

    // Counts one event; true on the period-th event, then on one event in `period`: the counter
    // runs from 0 to period - 1 and the event that finds it at period - 1 writes the line and takes
    // one period off. One atomic add per event; events counted while a period is taken off belong
    // to the next one.
    bool every(int32_t period) {
        const int32_t n = n_.fetch_add(1, std::memory_order_relaxed);
        if (n < period - 1 || n % period != period - 1) {
            return false;
        }
        n_.fetch_sub(period, std::memory_order_relaxed);
        return true;
    }

    // Counts one event; true on the first and then on one event in (period - 1): when the counter
    // is a multiple of `period` the line is written and the counter set to 1; then it advances by
    // one. The counter cycles through 2..period and never wraps.
    bool first_then_every(int32_t period) {
        return advance([period](int32_t n, int32_t &next) {
            const bool fire = n % period == 0;
            next = (fire ? 1 : n) + 1;
            return fire;
        });
    }

private:
    template <class Step>
    bool advance(Step step) {
        int32_t n = n_.load(std::memory_order_relaxed);
        int32_t next = 0;
        bool fire = step(n, next);
        while (!n_.compare_exchange_weak(n, next, std::memory_order_relaxed)) {
            fire = step(n, next);
        }
        return fire;
    }

    std::atomic<int32_t> n_{0};
};

// A rate limit for a line whose events all happen while one cell is held (that cell's writers
// exclude one another): a plain count-down, no atomic. True on the Period-th event, then on one
// event in Period, as Throttle::every(Period).
template <int32_t Period>
class HeldThrottle {
public:
    bool tick() {
        if (--left_ != 0) {
            return false;
        }
        left_ = Period;
        return true;
    }

    // A cell writer's fill (see Latest::write) that also counts one event: when it is due, what
    // `shown(rec)` reads of the record just laid out, else -1. Nothing is left to read after the
    // hold, so a push handler keeps nothing of its message for the rare line.
    template <class Fill, class Shown>
    auto counting(Fill fill, Shown shown) {
        return [this, fill, shown](unsigned char *rec) {
            fill(rec);
            return tick() ? int(shown(rec)) : -1;
        };
    }

private:
    int32_t left_ = Period;
};

}  // namespace cw
