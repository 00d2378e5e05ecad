// Cache cells under concurrent writers and readers.
#include <atomic>
#include <thread>
#include <vector>

#include "cw_cell.h"
#include "cw_test.h"

namespace {

// A record whose words must always agree: any mix of two writes shows up as a mismatch.
struct Record {
    uint32_t words[9];
    uint8_t tail;
};

void run_threads(int n, const std::function<void(int)> &body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < n; ++i) {
        threads.emplace_back(body, i);
    }
    for (auto &t : threads) {
        t.join();
    }
}

TEST(Cell, ReadersNeverSeeATornRecord) {
    static cw::Latest<Record> cell;
    std::atomic<bool> stop{false};
    std::atomic<uint32_t> torn{0}, reads{0};
    std::thread readers([&] {
        run_threads(2, [&](int) {
            for (; !stop.load(); reads.fetch_add(1)) {
                const Record rec = cell.load();
                for (uint32_t w : rec.words) {
                    torn += w != rec.words[0] || static_cast<uint8_t>(w) != rec.tail;
                }
            }
        });
    });
    // Two writers: the delivery thread and an application calling an update function. They start
    // once the readers read.
    run_threads(2, [&](int w) {
        while (reads.load() == 0) {
            std::this_thread::yield();
        }
        for (uint32_t i = 1; i <= 20000; ++i) {
            const uint32_t v = i * 2 + static_cast<uint32_t>(w);
            Record rec;
            std::fill(std::begin(rec.words), std::end(rec.words), v);
            rec.tail = static_cast<uint8_t>(v);
            cell.store(rec);
        }
    });
    stop = true;
    readers.join();
    EXPECT_EQ(std::make_tuple(torn.load(), reads.load() > 0, cell.generation()), std::make_tuple(0u, true, 40000u));
    EXPECT_TRUE(cell.load().words[0] == 40000u || cell.load().words[0] == 40001u);
    cell.clear();
    EXPECT_EQ(std::make_pair(cell.load().words[8], cell.load().tail), std::make_pair(0u, uint8_t{0}));
}

}  // namespace
