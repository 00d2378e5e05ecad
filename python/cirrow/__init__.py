"""Missions in Python over cirrow's flat C API.

``cirrow.lib`` is the library itself (every exported name, through cffi), ``cirrow.ffi`` the cffi
object that declares its records (``cirrow.ffi.new("FcState *")``). Over them: results checked
(:class:`Error`), records with named fields (:class:`Record`), the caches as properties
(``cirrow.caches``), the flight controller's steps (``cirrow.flight``), waits on the aircraft's
clock (:func:`wait_until`) and an aircraft of this process's own (:class:`Aircraft`)."""
from __future__ import annotations

from typing import Any

from . import _declarations
from ._binding import Error, SetupError, check, checked, ffi, libraries
from .aircraft import Aircraft, AircraftError, FlightFailed, Report, rate, scenarios, sleep, wait_until
from ._caches import caches
from .records import Field, Record
from . import flight

__version__ = _declarations.VERSION

__all__ = ["Aircraft", "AircraftError", "Error", "Field", "FlightFailed", "Record", "Report", "SetupError",
           "api", "caches", "check", "checked", "ffi", "flight", "lib", "rate", "scenarios", "sleep", "wait_until"]


class _Api:
    """Every function of the library with its result checked: ``cirrow.api.cw_flight_takeoff()``
    raises :class:`Error` on a non-zero result. Text arguments may be ``str``."""

    def __getattr__(self, name: str) -> Any:
        call = checked(name)

        def encoded(*args: Any) -> int:
            return call(*(a.encode() if isinstance(a, str) else a for a in args))

        encoded.__name__, encoded.__doc__ = name, call.__doc__
        return encoded


api = _Api()


def __getattr__(name: str) -> Any:
    # The library loads on first use, so that importing the package (its pytest plugin, say)
    # never needs it.
    if name == "lib":
        return libraries.lib
    raise AttributeError(f"module 'cirrow' has no attribute {name!r}")
