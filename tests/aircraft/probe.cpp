// An application attached to the aircraft through the stand-in (MBUS_AIRCRAFT), driven by its
// arguments:
//   probe request <receiver> <byte> <timeout_us>   prints "result R answer A ms M"
//   probe push <set> <id>                          registers a handler, prints the first push
//   probe dm <id>                                  prints "take R" (and returns what it took)
//   probe speak <name>                             prints "speak R"
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "mbus.h"

namespace {

// Pushes arrive on the stand-in's reader thread while main waits for the first.
std::atomic<int> g_pushes{0};
std::atomic<int> g_first[2];

int32_t on_push(const uint8_t *p) {
    if (g_pushes.load() == 0) {
        g_first[0] = p[0];
        g_first[1] = p[1];
    }
    ++g_pushes;
    return 0;
}

int arg(char **argv, int i) { return static_cast<int>(std::strtol(argv[i], nullptr, 0)); }

}  // namespace

int main(int argc, char **argv) {
    if (argc >= 5 && std::strcmp(argv[1], "request") == 0) {
        uint8_t payload[1] = {static_cast<uint8_t>(arg(argv, 3))};
        uint8_t resp[4] = {0xEE, 0xEE, 0xEE, 0xEE};
        const auto t0 = std::chrono::steady_clock::now();
        const int32_t r = mbus_link_v1_send(1, 2, static_cast<uint16_t>(arg(argv, 2)), payload, 1, resp, sizeof resp,
                                            static_cast<uint32_t>(arg(argv, 4)));
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0);
        std::printf("result %d answer %d ms %lld\n", r, resp[0], static_cast<long long>(ms.count()));
    } else if (argc >= 4 && std::strcmp(argv[1], "push") == 0) {
        const auto set = static_cast<uint8_t>(arg(argv, 2)), id = static_cast<uint8_t>(arg(argv, 3));
        mbus_link_register_v1_callback(set, id, on_push);
        for (int i = 0; i < 400 && g_pushes.load() == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        std::printf("pushes %d first %d %d\n", g_pushes.load(), g_first[0].load(), g_first[1].load());
        mbus_link_unregister_v1_callback(set, id, on_push);
    } else if (argc >= 3 && std::strcmp(argv[1], "dm") == 0) {
        const mbus_dm_key_t key{static_cast<uint32_t>(arg(argv, 2)), 0};
        mbus_dm_item_t *item = nullptr;
        const int32_t r = mbus_dm_take(&key, 0, &item, 0);
        std::printf("take %d size %u\n", r, r == 0 ? item->size : 0);
        if (r == 0) {
            mbus_dm_return(&key, item);
        }
    } else if (argc >= 3 && std::strcmp(argv[1], "speak") == 0) {
        const int32_t v[3] = {1, 0, 7};
        std::printf("speak %d\n", mbus_tm_speak(argv[2], v, sizeof v, 0));
    } else {
        std::fprintf(stderr, "usage: probe request|push|dm|speak ...\n");
        return 2;
    }
    std::fflush(stdout);
    return 0;
}
