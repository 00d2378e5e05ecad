"""The flight controller in the order every flight application follows: start-up (handlers and
the flight data's subscription), control, take-off, steering, landing; each result checked."""
from __future__ import annotations

import contextlib
import time
from typing import Iterator

from ._binding import checked, ffi
from .aircraft import rate, wait_until
from ._caches import caches
from .records import Record, value_of

#: Flight phases of the flight state (``state().phase``), as the flight controller reports them.
ON_GROUND: int = value_of("FcState", "phase", "on the ground")
IN_AIR: int = value_of("FcState", "phase", "in the air")

_STEERING_PERIOD_S = 0.1  # a steering command holds half a second: it is sent ten times a second


def start() -> None:
    """The start-up every flight application performs: the caches, the flight data's handler and
    the subscription to it (the flight controller streams its state from then on)."""
    for module in ("cw_flight_module_init", "cw_camera_module_init", "cw_gimbal_module_init"):
        checked(module)()
    checked("cw_register_v1_flight_data")()
    checked("cw_flight_reset_and_subscribe")()


def state() -> Record:
    """The flight state the flight controller last pushed (``phase``, ``height_m``, ...)."""
    return caches.flight_fc_state


def obtain_control() -> None:
    checked("cw_flight_obtain_control")()


def release_control() -> None:
    checked("cw_flight_release_control")()


def takeoff() -> None:
    """Orders the take-off (it needs control). Only sends: :func:`take_off` also waits."""
    checked("cw_flight_takeoff")()


def land() -> None:
    """Orders the landing. Only sends: :func:`land_and_wait` also waits."""
    checked("cw_flight_land")()


def in_the_air() -> bool:
    s = state()
    return s.phase == IN_AIR and s.height_dm > 0


def on_the_ground() -> bool:
    return state().phase == ON_GROUND


def take_off(timeout: float = 10) -> Record:
    """Takes off and waits (on the aircraft's clock) until the flight controller reports the
    aircraft in the air; returns that state."""
    takeoff()
    wait_until(in_the_air, timeout)
    return state()


def land_and_wait(timeout: float = 10) -> Record:
    """Lands and waits until the flight controller reports the aircraft on the ground."""
    land()
    wait_until(on_the_ground, timeout)
    return state()


def steer(north: float = 0, east: float = 0, up: float = 0, turn: float = 0, seconds: float = 1) -> None:
    """Flies at these velocities (m/s) and turn rate (deg/s, clockwise) for ``seconds`` of the
    aircraft's clock, sending the command ten times a second, then brakes to a hover."""
    cmd = ffi.new("FlightAttitudeCmd *")
    steer_once = checked("cw_flight_attitude_control")
    cmd.values[0:4] = [north, east, up, turn]
    deadline = time.monotonic() + seconds / rate()
    while time.monotonic() < deadline:
        steer_once(cmd)
        time.sleep(min(_STEERING_PERIOD_S / rate(), max(0.0, deadline - time.monotonic())))
    cmd.values[0:4] = [0, 0, 0, 0]
    steer_once(cmd)


@contextlib.contextmanager
def control(land_timeout: float = 30) -> Iterator[None]:
    """Obtains control; whatever happens inside, lands (when off the ground) and releases it."""
    obtain_control()
    try:
        yield
    finally:
        try:
            if not on_the_ground():
                land_and_wait(land_timeout)
        finally:
            release_control()
