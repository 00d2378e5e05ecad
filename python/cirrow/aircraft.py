"""The virtual aircraft in a process of its own (cirrow-aircraft), started for this Python process,
and the waits that follow the aircraft's clock."""
from __future__ import annotations

import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
from typing import Callable, Iterable, List, Optional, Sequence, Union

from ._binding import SetupError, _mbus_ffi, libraries, locate

PathLike = Union[str, "os.PathLike[str]"]

_START_WAIT_S = 10.0  # how long cirrow-aircraft may take to listen
_STOP_WAIT_S = 10.0  # how long it may take to stop after SIGTERM (then it is killed)
_REPORT_CAP = 65536


class AircraftError(Exception):
    """The aircraft could not be started, attached to or stopped; the message says why."""


def rate() -> float:
    """How fast the attached aircraft's clock runs against the wall clock (1 when not attached)."""
    return float(libraries.mbus.mbus_ctl_aircraft_rate())


def sleep(seconds: float) -> None:
    """Sleeps ``seconds`` on the aircraft's clock."""
    time.sleep(max(0.0, seconds) / rate())


def wait_until(condition: Callable[[], object], timeout: float, poll: float = 0.1) -> object:
    """Polls ``condition`` every ``poll`` seconds until it returns a true value, which is returned.

    ``timeout`` and ``poll`` count on the aircraft's clock (at speed 10, ``timeout=10`` is one
    second of the wall clock). Raises :class:`TimeoutError` when the condition never held."""
    if timeout < 0 or poll <= 0:
        raise ValueError(f"wait_until: timeout {timeout} and poll {poll}: both must be positive")
    speed = rate()
    deadline = time.monotonic() + timeout / speed
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() >= deadline:
            name = getattr(condition, "__name__", "condition")
            raise TimeoutError(f"{name} did not hold within {timeout:g} s on the aircraft's clock")
        time.sleep(poll / speed)


class Report:
    """This process's flight report, as the aircraft's referee gave it when it detached."""

    def __init__(self, text: str, mistakes: int) -> None:
        self.text = text
        #: Mistakes not waived (``allow``): a strict flight fails on any.
        self.mistakes = mistakes

    def items(self, kind: str = "MISTAKE") -> List[str]:
        """The report's lines of one kind (``MISTAKE``, ``note``, ``waived``), each ending with its rule."""
        return [line.strip() for line in self.text.splitlines() if line.strip().startswith(kind)]

    def rules(self, kind: str = "MISTAKE") -> List[str]:
        """The rules the report's lines of one kind name (``take-off-without-control``)."""
        return [m.group(1) for line in self.items(kind) for m in [re.search(r"\[([\w-]+)\]\s*$", line)] if m]

    def __str__(self) -> str:
        return self.text


class Aircraft:
    """A ``cirrow-aircraft`` of this process's own, on a private socket, this process attached to it.

    ``scenario`` is a scenario file (a bare name is looked for among the shipped scenarios too),
    ``speed`` the aircraft's clock against the wall clock, ``allow`` the referee's rules waived and
    ``strict`` whether a mistake in the report fails :meth:`stop` (:class:`FlightFailed`). Used as a
    context manager it starts and stops; one process may fly several aircraft in turn. ``capture``
    keeps the link capture (pcap) of the flight at that path."""

    def __init__(self, scenario: Optional[PathLike] = None, speed: Optional[float] = None,
                 allow: Iterable[str] = (), strict: bool = True, capture: Optional[PathLike] = None) -> None:
        self.scenario = _scenario_path(scenario) if scenario is not None else None
        if speed is not None and not (isinstance(speed, (int, float)) and 0.01 <= speed <= 100):
            raise ValueError(f"speed {speed!r}: the aircraft flies at 0.01 to 100 times the wall clock")
        self.speed = speed
        self.allow: List[str] = [allow] if isinstance(allow, str) else list(allow)
        self.strict = strict
        self.capture = os.fspath(capture) if capture is not None else None
        self.report: Optional[Report] = None
        self._dir: Optional[str] = None
        self._process: Optional[subprocess.Popen] = None
        self._log: Optional[str] = None

    @property
    def socket(self) -> str:
        assert self._dir is not None, "the aircraft is not started"
        return os.path.join(self._dir, "aircraft.sock")

    def output(self) -> str:
        """What cirrow-aircraft has printed so far (until it stops)."""
        if self._log is None or not os.path.exists(self._log):
            return ""
        with open(self._log, errors="replace") as f:
            return f.read()

    def start(self) -> "Aircraft":
        """Starts cirrow-aircraft on a private socket and attaches this process to it."""
        if self._process is not None:
            raise AircraftError("this aircraft is flying already")
        tool = locate("aircraft")
        libraries.load()
        self._dir = tempfile.mkdtemp(prefix="cirrow-aircraft-")
        self._log = os.path.join(self._dir, "aircraft.log")
        cmd = [tool, "--socket", self.socket]
        if self.scenario:
            cmd += ["--scenario", self.scenario]
        if self.speed is not None:
            cmd += ["--speed", f"{self.speed:g}"]
        if self.allow:
            cmd += ["--allow", ",".join(self.allow)]
        env = dict(os.environ)
        for name in ("MBUS_AIRCRAFT", "MBUS_SIM", "MBUS_SCENARIO", "MBUS_STRICT"):
            env.pop(name, None)
        if self.capture:
            env["MBUS_PCAP"] = self.capture
        with open(self._log, "wb") as log:
            try:
                self._process = subprocess.Popen(cmd, stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=env)
            except OSError as e:
                self._cleanup()
                raise AircraftError(f"{tool}: cannot run it: {e}") from None
        deadline = time.monotonic() + _START_WAIT_S
        while not os.path.exists(self.socket):
            if self._process.poll() is not None or time.monotonic() > deadline:
                self._kill()
                why = self.output().strip() or "no output"
                self._cleanup()
                raise AircraftError(f"{tool} did not start ({' '.join(cmd[1:])}): {why}")
            time.sleep(0.02)
        why = _mbus_ffi.new("char[]", 512)
        if libraries.mbus.mbus_ctl_attach(self.socket.encode(), why, len(why)) != 0:
            self._kill()
            self._cleanup()
            raise AircraftError(f"cannot attach to {tool}: {_mbus_ffi.string(why).decode(errors='replace')}")
        return self

    def detach(self) -> Report:
        """Detaches this process: the aircraft hears it ended and gives its flight report."""
        buf = _mbus_ffi.new("char[]", _REPORT_CAP)
        mistakes = libraries.mbus.mbus_ctl_detach(buf, len(buf))
        if mistakes < 0:
            raise AircraftError("the aircraft gave no flight report (it was not attached, or did not answer in 2 s)")
        self.report = Report(_mbus_ffi.string(buf).decode(errors="replace"), mistakes)
        return self.report

    def stop(self) -> Report:
        """Detaches, stops cirrow-aircraft (SIGTERM, bounded) and returns this process's flight
        report. Strict, a report holding a mistake raises :class:`FlightFailed` (after the stop)."""
        if self._process is None:
            raise AircraftError("this aircraft is not flying")
        try:
            report = self.detach()
        finally:
            self._kill()
            self._process = None
            self._cleanup()
        if self.strict and report.mistakes > 0:
            raise FlightFailed(report)
        return report

    def close(self) -> None:
        """Stops whatever runs without judging the flight, and removes the private directory."""
        if self._process is not None:
            try:
                self.detach()
            except AircraftError:
                pass
            self._kill()
            self._process = None
        self._cleanup()

    def _kill(self) -> None:
        if self._process is None or self._process.poll() is not None:
            return
        self._process.send_signal(signal.SIGTERM)
        try:
            self._process.wait(_STOP_WAIT_S)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()

    def _cleanup(self) -> None:
        if self._dir is not None:
            shutil.rmtree(self._dir, ignore_errors=True)
            self._dir = None

    def __enter__(self) -> "Aircraft":
        return self.start()

    def __exit__(self, kind, value, tb) -> None:
        try:
            if self._process is not None:
                if kind is None:
                    self.stop()
                else:
                    self.close()  # the exception inside says more than the report would
        finally:
            self._cleanup()


class FlightFailed(AssertionError):
    """The referee's report of a strict flight holds a mistake that was not waived."""

    def __init__(self, report: Report) -> None:
        self.report = report
        lines = "\n".join(report.items()) or report.text
        super().__init__(f"the flight report holds {report.mistakes} mistake(s):\n{lines}")


def _scenario_path(scenario: PathLike) -> str:
    path = os.fspath(scenario)
    if os.path.isfile(path):
        return os.path.abspath(path)
    if os.sep not in path:
        shipped = locate("scenarios")
        if shipped and os.path.isfile(os.path.join(shipped, path)):
            return os.path.join(shipped, path)
    what = "a directory, not a scenario file" if os.path.isdir(path) else "no such file"
    raise SetupError(f"scenario {path}: {what}")


def scenarios() -> Sequence[str]:
    """The shipped scenario files."""
    shipped = locate("scenarios")
    return sorted(f for f in os.listdir(shipped) if f.endswith(".toml")) if shipped and os.path.isdir(shipped) else []
