"""The flat C API through cffi's ABI mode: the declarations, the libraries, and result checks."""
from __future__ import annotations

import ctypes.util
import os
import shutil
from typing import Any, Callable, Dict, Optional

import cffi

from . import _declarations as decl

try:  # where a build or an install put the libraries and tools (absent in a package built by pip)
    from . import _paths as _built_paths

    _BUILT: Dict[str, str] = dict(_built_paths.PATHS)
except ImportError:  # pragma: no cover - depends on how the package was installed
    _BUILT = {}

_HERE = os.path.dirname(os.path.abspath(__file__))

#: The cffi object that declares the public records and functions: ``ffi.new("FcState *")``.
ffi = cffi.FFI()
for _source, _pack in decl.CIRROW_CDEF:
    ffi.cdef(_source, pack=_pack)
ffi.cdef("".join(f"#define {name} {value}\n" for name, value in decl.CONSTANTS.items()))

# The stand-in's control API: what attaches this process to an aircraft (kept apart from the
# library's names, which are all that cirrow.lib holds).
_mbus_ffi = cffi.FFI()
for _source, _pack in decl.MBUS_CDEF:
    _mbus_ffi.cdef(_source, pack=_pack)

#: The library's result codes, by value.
RESULT_NAMES: Dict[int, str] = {v: k for k, v in decl.CONSTANTS.items() if k.startswith("CW_ERR_")}
RESULT_NAMES.update({v: k for k, v in decl.MBUS_CONSTANTS.items() if k.startswith("MBUS_ERR_")})


class Error(Exception):
    """A command of the library returned a non-zero result.

    ``code`` is the result, ``name`` its name (``CW_ERR_ACK``, ``MBUS_ERR_TIMEOUT``, or the module's
    own result byte), ``function`` the C function that returned it."""

    def __init__(self, function: str, code: int) -> None:
        self.function = function
        self.code = code
        self.name = RESULT_NAMES.get(code, "the module's result byte" if 0 < code < 256 else "result")
        super().__init__(f"{function}() returned {code} ({self.name})")


class SetupError(Exception):
    """Something from outside the code (a path, a variable, a tool) is not usable; the message names it."""


def check(function: str, result: int) -> int:
    """Returns ``result`` when it is 0, else raises :class:`Error` naming ``function``."""
    if result != 0:
        raise Error(function, result)
    return result


def _home_path(*parts: str) -> Optional[str]:
    """A path under CIRROW_HOME (an install prefix), checked to exist; None when it is unset."""
    home = os.environ.get("CIRROW_HOME")
    if not home:
        return None
    if not os.path.isdir(home):
        raise SetupError(f"CIRROW_HOME={home}: not a directory (it names the prefix cirrow was installed to)")
    path = os.path.join(home, *parts)
    if not os.path.exists(path):
        raise SetupError(f"CIRROW_HOME={home}: no {os.path.join(*parts)} there (is it the prefix cirrow was installed to?)")
    return path


def locate(what: str) -> str:
    """Where ``what`` (libcirrow, libmbus, aircraft, plot, scenarios) is: under CIRROW_HOME when it
    is set, else where the build or install put it, else for the dynamic loader or on PATH."""
    home = {"libcirrow": ("lib", "libcirrow.so.1"), "libmbus": ("lib", "libmbus.so.1"),
            "aircraft": ("bin", "cirrow-aircraft"), "plot": ("bin", "cirrow-plot"),
            "scenarios": ("share", "cirrow", "scenarios")}[what]
    found = _home_path(*home)
    if found:
        return found
    if what in _BUILT:
        return os.path.normpath(os.path.join(_HERE, _BUILT[what]))
    if what.startswith("lib"):
        return ctypes.util.find_library(what[3:]) or home[-1]
    tool = shutil.which(home[-1])
    if tool is None and what != "scenarios":
        raise SetupError(f"{home[-1]}: not found on PATH; install the host tools or set CIRROW_HOME to their prefix")
    return tool or ""


class _Libraries:
    """Loads the stand-in (its middleware functions for the library) and then the library, once."""

    def __init__(self) -> None:
        self._lib: Any = None
        self._mbus: Any = None

    def load(self) -> None:
        if self._lib is not None:
            return
        mbus_path, lib_path = locate("libmbus"), locate("libcirrow")
        try:
            # The library leaves the middleware's functions undefined: the stand-in provides them.
            self._mbus = _mbus_ffi.dlopen(mbus_path, ffi.RTLD_NOW | ffi.RTLD_GLOBAL)
        except OSError as e:
            raise SetupError(f"{mbus_path}: cannot load the middleware stand-in: {e}") from None
        try:
            self._lib = ffi.dlopen(lib_path, ffi.RTLD_NOW | ffi.RTLD_GLOBAL)
        except OSError as e:
            raise SetupError(f"{lib_path}: cannot load the library: {e}") from None

    @property
    def lib(self) -> Any:
        self.load()
        return self._lib

    @property
    def mbus(self) -> Any:
        self.load()
        return self._mbus


libraries = _Libraries()


def checked(name: str) -> Callable[..., int]:
    """The library's function ``name`` with its result checked (see :func:`check`)."""
    fn = getattr(libraries.lib, name)

    def call(*args: Any) -> int:
        return check(name, fn(*args))

    call.__name__ = name
    call.__doc__ = f"{name}: {ffi.typeof(fn).cname.replace('(*)', ' ')}, its result checked."
    return call
