#!/usr/bin/env python3
"""A quick shot (dronie): the target box set, the quick shot followed from the caches."""
import cirrow
from cirrow import api, caches, flight

FINISHED = 2  # the quick shot's progress word: 0 waiting, 1 under way, 2 finished


def fly() -> None:
    flight.start()
    for register in ("cw_register_v1_quick_shot_result", "cw_register_v1_quick_shot_finished",
                     "cw_register_v1_nav_osd"):
        getattr(api, register)()
    with flight.control():
        flight.take_off()
        zero = cirrow.ffi.new("int32_t *", 0)
        api.cw_set_nav_qs_proc(zero)
        api.cw_set_nav_qs_err(zero)
        api.cw_v1_vision_quickshot_enable(2, 1, 0)
        api.cw_v1_quickshot_set_nit_box(1, 0.40, 0.35, 0.20, 0.30, 0, 0)
        cirrow.wait_until(lambda: caches.nav_qs_proc == FINISHED or caches.nav_qs_err != 0, timeout=15)
        assert caches.nav_qs_err == 0, f"the quick shot failed with error {caches.nav_qs_err}"
        print("quick shot finished")


if __name__ == "__main__":
    with cirrow.Aircraft(speed=4) as aircraft:
        fly()
    print(aircraft.report)
