"""Test flights with pytest: an ``aircraft`` fixture (a fresh cirrow-aircraft per test, this
process attached to it), the markers ``scenario`` and ``speed``, and the referee's report of each
flight attached to the test's result. A mistake in the report fails the test (strict by default;
``allow=`` waives rules); a failed flight's capture and its page are kept beside the test report.

Registered by the package's entry point, or with ``pytest -p cirrow.pytest_plugin``::

    @pytest.mark.scenario("rough_day.toml", allow=["stream-dropped"])
    @pytest.mark.speed(10)
    def test_first_flight(aircraft):
        cirrow.flight.start()
        ...
"""
from __future__ import annotations

import os
import re
import shutil
import subprocess
from typing import Any, Iterator, Optional

import pytest

from .aircraft import Aircraft, AircraftError, Report
from ._binding import locate

_PLOT_WAIT_S = 60


def pytest_addoption(parser: Any) -> None:
    group = parser.getgroup("cirrow", "test flights on the virtual aircraft")
    group.addoption("--cirrow-flights", metavar="DIR", default=None,
                    help="where a failed flight's capture and cirrow-plot page are kept (default: the folder "
                         "of --junitxml, else cirrow-flights under the root directory)")


def pytest_configure(config: Any) -> None:
    config.addinivalue_line(
        "markers", "scenario(file=None, *, allow=(), strict=True): fly the aircraft fixture with this scenario "
        "(a path from the test's folder, or a shipped scenario's name), waive the referee's rules in allow, "
        "and fail the test on a mistake unless strict=False")
    config.addinivalue_line("markers", "speed(x): fly the aircraft fixture x times as fast as the wall clock")


def _scenario_of(item: Any) -> tuple:
    marker = item.get_closest_marker("scenario")
    if marker is None:
        return None, (), True
    if len(marker.args) > 1 or set(marker.kwargs) - {"file", "allow", "strict"}:
        raise pytest.UsageError(f"{item.nodeid}: @pytest.mark.scenario(file=None, *, allow=(), strict=True) "
                                f"takes no {marker.args[1:] or sorted(set(marker.kwargs) - {'file', 'allow', 'strict'})}")
    file = marker.args[0] if marker.args else marker.kwargs.get("file")
    if file is not None and not os.path.isabs(os.fspath(file)):
        beside = os.path.join(os.path.dirname(str(item.fspath)), os.fspath(file))
        file = beside if os.path.exists(beside) else file
    allow = marker.kwargs.get("allow", ())
    return file, [allow] if isinstance(allow, str) else list(allow), bool(marker.kwargs.get("strict", True))


def _speed_of(item: Any) -> Optional[float]:
    marker = item.get_closest_marker("speed")
    if marker is None:
        return None
    if len(marker.args) != 1 or not isinstance(marker.args[0], (int, float)):
        raise pytest.UsageError(f"{item.nodeid}: @pytest.mark.speed takes one number, got {marker.args!r}")
    return float(marker.args[0])


def _flights_dir(config: Any) -> str:
    chosen = config.getoption("--cirrow-flights")
    if chosen:
        return chosen
    junit = config.getoption("xmlpath", None)
    return os.path.dirname(os.path.abspath(junit)) if junit else os.path.join(str(config.rootpath), "cirrow-flights")


def _keep_capture(item: Any, capture: str) -> str:
    """Copies a failed flight's capture beside the test report and writes its page; says where."""
    if not os.path.exists(capture):
        return "no capture was written"
    name = re.sub(r"[^\w.-]+", "_", item.nodeid).strip("_")
    folder = os.path.join(_flights_dir(item.config), name)
    os.makedirs(folder, exist_ok=True)
    kept = os.path.join(folder, "flight.pcap")
    shutil.copyfile(capture, kept)
    page = os.path.join(folder, "flight.html")
    try:
        plot = subprocess.run([locate("plot"), kept, "-o", page, "--title", item.nodeid],
                              capture_output=True, text=True, timeout=_PLOT_WAIT_S)
        if plot.returncode != 0:
            return f"capture {kept} (cirrow-plot failed: {plot.stderr.strip()})"
    except (OSError, subprocess.TimeoutExpired, Exception) as e:  # the capture is kept all the same
        return f"capture {kept} (no page: {e})"
    return f"capture {kept}, page {page}"


@pytest.fixture
def aircraft(request: Any, tmp_path: Any) -> Iterator[Aircraft]:
    """A fresh virtual aircraft for this test (cirrow-aircraft on a private socket), this process
    attached to it; after the test the referee's report of the flight is attached to its result."""
    scenario, allow, strict = _scenario_of(request.node)
    craft = Aircraft(scenario=scenario, speed=_speed_of(request.node), allow=allow, strict=False,
                     capture=os.path.join(str(tmp_path), "flight.pcap"))
    craft.start()
    request.node._cirrow = {"aircraft": craft, "strict": strict, "failed": False}
    try:
        yield craft
    finally:
        craft.close()
        if request.node._cirrow["failed"]:
            request.node.add_report_section("teardown", "cirrow flight kept",
                                            _keep_capture(request.node, craft.capture or ""))


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_call(item: Any) -> Iterator[None]:
    yield
    state = getattr(item, "_cirrow", None)
    if state is None:
        return
    try:
        report: Optional[Report] = state["aircraft"].detach()
    except AircraftError as e:
        report = None
        state["error"] = str(e)
    state["report"] = report
    if report is not None:
        item.user_properties.append(("cirrow_flight_report", report.text))
        item.user_properties.append(("cirrow_flight_mistakes", report.mistakes))


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: Any, call: Any) -> Iterator[None]:
    outcome = yield
    rep = outcome.get_result()
    state = getattr(item, "_cirrow", None)
    if state is None or rep.when != "call":
        return
    report: Optional[Report] = state.get("report")
    if report is not None:
        rep.sections.append(("cirrow flight report", report.text))
    if rep.passed and report is None:
        rep.outcome = "failed"
        rep.longrepr = f"the flight has no report: {state.get('error')}"
    elif rep.passed and state["strict"] and report is not None and report.mistakes > 0:
        rep.outcome = "failed"
        lines = "\n".join(report.items()) or report.text
        rep.longrepr = (f"the flight report holds {report.mistakes} mistake(s) (waive a rule with "
                        f"@pytest.mark.scenario(allow=[...])):\n{lines}")
    state["failed"] = rep.failed
