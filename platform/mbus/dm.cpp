// The data manager: the IMU group handed out as copies, with faults on request.
#include <cstring>

#include "host.h"

using mbus::st;
using mbus::State;
using mbus::Taken;

extern "C" {

int32_t mbus_dm_take(const mbus_dm_key_t *key, int32_t wait, mbus_dm_item_t **item, uint32_t flags) {
    (void)wait;
    (void)flags;
    State &s = st();
    std::array<uint8_t, MBUS_DM_IMU_SIZE> aircraft_imu{};
    int32_t aircraft_result = 0;
    const bool attached = mbus::remote_dm_take(key, aircraft_imu, &aircraft_result);
    std::lock_guard<std::mutex> lock(s.mu);
    if (s.dm_take_fault != 0) {
        const int32_t r = s.dm_take_fault;
        s.dm_take_fault = 0;
        return r;
    }
    if (item == nullptr || (attached ? aircraft_result != 0 : key == nullptr || key->id != 1 || key->sub != 0)) {
        return attached && item != nullptr ? aircraft_result : MBUS_ERR_NO_DATA;
    }
    auto t = std::make_unique<Taken>();
    t->data = attached ? aircraft_imu : s.imu;
    t->item.data = t->data.data();
    t->item.size = MBUS_DM_IMU_SIZE;
    *item = &t->item;
    s.taken.emplace(&t->item, std::move(t));
    return 0;
}

int32_t mbus_dm_return(const mbus_dm_key_t *key, mbus_dm_item_t *item) {
    (void)key;
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    // A failed return still gives the item back (it is freed and no longer outstanding): the
    // caller has no way to try again, and the aircraft's data manager reclaims it all the same.
    auto it = s.taken.find(item);
    const bool known = it != s.taken.end();
    if (known) {
        s.taken.erase(it);
    }
    if (s.dm_return_fault != 0) {
        const int32_t r = s.dm_return_fault;
        s.dm_return_fault = 0;
        return r;
    }
    // An item that was never taken, or is returned twice, is refused instead of freed.
    return known ? 0 : MBUS_ERR_NO_DATA;
}

void mbus_ctl_dm_set_imu(const uint8_t data[MBUS_DM_IMU_SIZE]) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    if (data == nullptr) {
        s.imu.fill(0);
    } else {
        std::memcpy(s.imu.data(), data, MBUS_DM_IMU_SIZE);
    }
}

void mbus_ctl_dm_fail_take(int32_t result) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.dm_take_fault = result;
}

void mbus_ctl_dm_fail_return(int32_t result) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.dm_return_fault = result;
}

int32_t mbus_ctl_dm_outstanding(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return static_cast<int32_t>(s.taken.size());
}

}  // extern "C"
