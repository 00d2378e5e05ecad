"""Flights on the package's own aircraft: the control block lands whatever happens, waits follow
the aircraft's clock, and several aircraft fly in turn in one process."""
import os
import re
import time

import pytest

import cirrow
from cirrow import flight


@pytest.mark.speed(10)
def test_control_lands_and_releases_whatever_happens_inside(aircraft):
    flight.start()
    with pytest.raises(RuntimeError, match="mission aborted"):
        with flight.control():
            flight.take_off()
            raise RuntimeError("mission aborted")
    assert flight.on_the_ground()
    cirrow.wait_until(lambda: flight.state().control == 0, timeout=1)  # the next state push says so
    # The plugin judges the flight afterwards: neither ended in the air nor with control.


@pytest.mark.speed(10)
def test_waits_follow_the_aircraft_clock(aircraft):
    assert cirrow.rate() == 10
    started = time.monotonic()
    with pytest.raises(TimeoutError, match="never did not hold within 5 s on the aircraft's clock"):
        def never():
            return False
        cirrow.wait_until(never, timeout=5)
    assert 0.4 < time.monotonic() - started < 2.5  # 0.5 s of the wall clock


def test_several_aircraft_in_turn_each_with_its_report():
    for speed in (10, 5):
        with cirrow.Aircraft(speed=speed) as craft:
            assert cirrow.rate() == speed
            flight.start()
            with flight.control():
                flight.take_off()
        assert craft.report.mistakes == 0 and craft.report.rules() == [] and "0 mistake(s)" in craft.report.text
    assert cirrow.rate() == 1  # detached


def test_a_strict_aircraft_fails_its_stop_on_a_mistake():
    with pytest.raises(cirrow.FlightFailed, match=r"take-off without control.*\[take-off-without-control\]") as e:
        with cirrow.Aircraft(speed=10):
            flight.start()
            flight.takeoff()
            cirrow.sleep(1)
    assert e.value.report.rules() == ["take-off-without-control"]
    with cirrow.Aircraft(speed=10, allow=["take-off-without-control"]) as craft:
        flight.start()
        flight.takeoff()
        cirrow.sleep(1)
    assert craft.report.mistakes == 0 and craft.report.rules("waived") == ["take-off-without-control"]


def test_the_readmes_first_flight(capsys):
    readme = open(os.path.join(os.path.dirname(__file__), "..", "..", "README.md")).read()
    section = readme[readme.index("## Missions in Python"):]
    code = re.search(r"```python\n(.*?)```", section, re.S).group(1)
    assert len(code.strip().splitlines()) <= 10
    scope = {}
    exec(compile(code.replace("speed=4", "speed=10"), "README.md", "exec"), scope)
    assert scope["aircraft"].report.mistakes == 0
    assert "in the air at" in capsys.readouterr().out
