#!/usr/bin/env python3
"""A square of 4 m sides at 2 m/s, a photo at every corner with the gimbal pointed down."""
import cirrow
from cirrow import api, caches, flight

SIDES = [(2, 0), (0, 2), (-2, 0), (0, -2)]  # north, east (m/s), each for 2 s


def point_gimbal_down() -> None:
    api.cw_register_v1_gimbal_data()
    api.cw_v1_gimbal_subscribe_info(1, 1, 10)
    cmd = cirrow.ffi.new("GimbalAngleCmd *", [-450, 0, 0, 1, 0, 0, 0, 0, 0, 10])
    api.cw_gimbal_angle_control(cmd)
    cirrow.wait_until(lambda: abs(caches.gimbal_main_gimbal_info.joint_deg[0] + 45) < 1, timeout=5)


def fly() -> int:
    flight.start()
    api.cw_register_v1_camera_status_data()
    photos = 0
    with flight.control():
        flight.take_off()
        point_gimbal_down()
        api.cw_camera_switch_mode("PHOTO")
        for north, east in SIDES:
            flight.steer(north=north, east=east, seconds=2)
            api.cw_v1_camera_api_take_photo(0)
            photos += 1
            print(f"photo {photos} at height {flight.state().height_m:.1f} m")
    return photos


if __name__ == "__main__":
    with cirrow.Aircraft(speed=4) as aircraft:
        fly()
    print(aircraft.report)
