"""The pytest plugin as a team uses it: a mission's mistake fails its test with the referee's line,
waived it passes; the JUnit XML carries each flight; a failed flight's capture and page are kept."""
import os
import xml.etree.ElementTree as ET

pytest_plugins = ["pytester"]

MISSIONS = '''
import pytest
import cirrow
from cirrow import flight

def take_off_without_control():
    flight.start()
    flight.takeoff()  # no control obtained: the flight controller ignores it
    cirrow.sleep(1)

@pytest.mark.speed(10)
def test_careless(aircraft):
    take_off_without_control()

@pytest.mark.speed(10)
@pytest.mark.scenario(allow=["take-off-without-control"])
def test_waived(aircraft):
    take_off_without_control()
'''


def test_a_mistake_fails_its_test_and_a_waiver_passes_it(pytester):
    pytester.makepyfile(test_missions=MISSIONS)
    junit = pytester.path / "reports" / "junit.xml"
    result = pytester.runpytest_subprocess("-p", "cirrow.pytest_plugin", f"--junitxml={junit}")
    result.assert_outcomes(passed=1, failed=1)
    result.stdout.fnmatch_lines(["*MISTAKE t=* take-off without control: the flight controller ignored it "
                                 "[[]take-off-without-control[]]*"])
    cases = {c.get("name"): c for c in ET.parse(junit).getroot().iter("testcase")}
    failure = cases["test_careless"].find("failure")
    assert "[take-off-without-control]" in failure.get("message")
    assert cases["test_waived"].find("failure") is None
    for case in cases.values():
        props = {p.get("name"): p.get("value") for p in case.iter("property")}
        assert "flight report for" in props["cirrow_flight_report"]
    kept = junit.parent / "test_missions.py_test_careless"
    assert (kept / "flight.pcap").stat().st_size > 0 and (kept / "flight.html").stat().st_size > 0
    assert not (junit.parent / "test_missions.py_test_waived").exists()


def test_markers_are_checked(pytester):
    pytester.makepyfile(test_bad='''
import pytest

@pytest.mark.speed("fast")
def test_speed(aircraft):
    pass
''')
    result = pytester.runpytest_subprocess("-p", "cirrow.pytest_plugin")
    result.stdout.fnmatch_lines(["*@pytest.mark.speed takes one number, got ('fast',)*"])
    assert result.ret != 0


def test_a_flight_that_raises_is_kept_where_asked_with_its_scenario_beside_it(pytester):
    pytester.makefile(".toml", windy="[wind]\nnorth = 1.5\n")
    pytester.makepyfile(test_windy='''
import pytest
from cirrow import flight

@pytest.mark.speed(10)
@pytest.mark.scenario("windy.toml")
def test_windy(aircraft):
    assert aircraft.scenario.endswith("windy.toml")
    flight.start()
    with flight.control():
        flight.take_off()
        raise RuntimeError("camera lost")
''')
    flights = pytester.path / "kept"
    result = pytester.runpytest_subprocess("-p", "cirrow.pytest_plugin", f"--cirrow-flights={flights}")
    result.assert_outcomes(failed=1)
    result.stdout.fnmatch_lines(["*RuntimeError: camera lost*", "*flight report for * 0 mistake(s)*"])
    assert (flights / "test_windy.py_test_windy" / "flight.html").stat().st_size > 0
