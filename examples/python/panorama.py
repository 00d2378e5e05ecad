#!/usr/bin/env python3
"""A panorama: the switch to panorama mode, the start, and the status followed from the cache."""
import cirrow
from cirrow import api, caches, flight

DONE, FAILED = 1, -1  # the panorama's status word


def fly() -> None:
    flight.start()
    for register in ("cw_register_v1_get_pano_result", "cw_register_v1_nav_pano_status", "cw_register_v1_nav_osd"):
        getattr(api, register)()
    with flight.control():
        flight.take_off()
        api.cw_set_nav_pano_status(cirrow.ffi.new("int32_t *", 0))
        api.cw_v1_vision_switch_to_pano(3, 0)
        api.cw_v1_vision_pano_control(1)
        status = cirrow.wait_until(lambda: caches.nav_pano_status, timeout=15)
        assert status == DONE, f"the panorama ended with status {status}"
        print("panorama done")


if __name__ == "__main__":
    with cirrow.Aircraft(speed=4) as aircraft:
        fly()
    print(aircraft.report)
