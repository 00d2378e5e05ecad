// Cache cells under a concurrent writer and readers, and the log throttles.
#include <atomic>
#include <thread>
#include <vector>

#include "cw_cell.h"
#include "cw_test.h"
#include "cw_throttle.h"

namespace {

// A record whose words must always agree: any mix of two writes shows up as a mismatch.
struct Record {
    uint32_t words[9];
    uint8_t tail;
};

TEST(Cell, ReadersNeverSeeATornRecord) {
    static cw::Latest<Record> cell;
    std::atomic<bool> stop{false};
    std::atomic<uint32_t> torn{0};
    std::atomic<uint32_t> reads{0};

    std::vector<std::thread> readers;
    for (int r = 0; r < 2; ++r) {
        readers.emplace_back([&] {
            while (!stop.load()) {
                const Record rec = cell.load();
                for (uint32_t w : rec.words) {
                    if (w != rec.words[0] || static_cast<uint8_t>(w) != rec.tail) {
                        torn.fetch_add(1);
                    }
                }
                reads.fetch_add(1);
            }
        });
    }
    // Two writers: the delivery thread and an application calling an update function.
    std::vector<std::thread> writers;
    for (int w = 0; w < 2; ++w) {
        writers.emplace_back([&, w] {
            for (uint32_t i = 1; i <= 20000; ++i) {
                Record rec;
                const uint32_t v = i * 2 + static_cast<uint32_t>(w);
                for (uint32_t &x : rec.words) {
                    x = v;
                }
                rec.tail = static_cast<uint8_t>(v);
                cell.store(rec);
            }
        });
    }
    for (auto &t : writers) {
        t.join();
    }
    stop = true;
    for (auto &t : readers) {
        t.join();
    }
    EXPECT_EQ(torn.load(), 0u);
    EXPECT_GT(reads.load(), 0u);
    EXPECT_EQ(cell.generation(), 40000u);
    const Record last = cell.load();
    EXPECT_TRUE(last.words[0] == 40000u || last.words[0] == 40001u);

    cell.clear();
    EXPECT_EQ(cell.load().words[8], 0u);
    EXPECT_EQ(cell.load().tail, 0u);
}

TEST(Cell, OddSizedRecordRoundTripsEveryByte) {
    struct Odd {
        uint8_t b[59];
    };
    cw::Latest<Odd> cell;
    Odd in;
    for (int i = 0; i < 59; ++i) {
        in.b[i] = static_cast<uint8_t>(i + 1);
    }
    cell.store(in);
    const Odd out = cell.load();
    EXPECT_EQ(0, std::memcmp(in.b, out.b, sizeof in.b));
}

TEST(Throttle, AfterLimitFiresOnceEveryLimitPlusTwo) {
    cw::Throttle t;
    std::vector<int> fired;
    for (int i = 1; i <= 204; ++i) {
        if (t.after(100)) {
            fired.push_back(i);
        }
    }
    EXPECT_EQ(fired, (std::vector<int>{102, 204}));
}

TEST(Throttle, FirstThenOneIn49NeverWraps) {
    cw::Throttle t;
    std::vector<int> fired;
    for (int i = 1; i <= 100; ++i) {
        if (t.first_then_every(50)) {
            fired.push_back(i);
        }
        EXPECT_GE(t.count(), 2);
        EXPECT_LE(t.count(), 50);
    }
    EXPECT_EQ(fired, (std::vector<int>{1, 50, 99}));
}

TEST(Throttle, ConcurrentCountingLosesNoEvent) {
    cw::Throttle t;
    std::atomic<int> fired{0};
    std::vector<std::thread> th;
    for (int k = 0; k < 2; ++k) {
        th.emplace_back([&] {
            for (int i = 0; i < 51 * 1000; ++i) {
                fired += t.after(49) ? 1 : 0;
            }
        });
    }
    for (auto &x : th) {
        x.join();
    }
    EXPECT_EQ(fired.load(), 2000);
}

}  // namespace
