"""The library's caches (what the modules last pushed, and the values applications store) as
properties: ``caches.flight_fc_state`` is the record cw_flight_get_fc_state() copies out,
``caches.nav_qs_proc`` the value of cw_get_nav_qs_proc()."""
from __future__ import annotations

from typing import Any, Callable, Dict

from . import _declarations as decl
from ._binding import checked, ffi
from .records import Record

_UNSIZED = ("void", "char")  # a buffer of a length of the function's own: not a cache read here


def _cache_names() -> Dict[str, str]:
    names = {}
    for function, type_name in decl.GETTERS.items():
        if function.startswith("cw_v1_") or type_name in _UNSIZED:
            continue  # link commands, and buffers of their own length
        names[function.replace("cw_", "", 1).replace("get_", "", 1)] = function
    return names


#: The caches' property names and the functions that read them.
CACHES: Dict[str, str] = _cache_names()


def _reader(function: str) -> Callable[[Any], Any]:
    type_name = decl.GETTERS[function]
    is_record = ffi.typeof(type_name).kind == "struct"

    def read(_self: Any) -> Any:
        out = ffi.new(f"{type_name} *")
        checked(function)(out)
        return Record(type_name, out) if is_record else out[0]

    read.__doc__ = f"{function}(): the cached {type_name}" + (
        f" ({decl.RECORDS[type_name]['message']})" if type_name in decl.RECORDS else "")
    return read


class Caches:
    """Each cache of the library, read on every access."""

    def __repr__(self) -> str:
        return f"<cirrow caches: {', '.join(sorted(CACHES))}>"


for _name, _function in CACHES.items():
    setattr(Caches, _name, property(_reader(_function)))

caches = Caches()
