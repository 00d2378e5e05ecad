"""The stand-in's attach and detach after load, on the inputs that go wrong."""
import os
import socket
import subprocess
import sys
import time

import pytest

import cirrow
from cirrow._binding import _mbus_ffi, libraries


def attach(path):
    why = _mbus_ffi.new("char[]", 256)
    result = libraries.mbus.mbus_ctl_attach(path.encode() if path is not None else _mbus_ffi.NULL, why, len(why))
    return result, _mbus_ffi.string(why).decode()


def test_attach_refusals_name_the_socket_and_the_reason(tmp_path):
    assert attach(None) == (-1, "no socket path given")
    result, why = attach(str(tmp_path / "nobody.sock"))
    assert result == -1 and why.startswith("cannot attach to the aircraft: No such file or directory")
    result, why = attach("/" + "x" * 200)
    assert (result, why) == (-1, "a socket path is at most 107 bytes long")
    assert libraries.mbus.mbus_ctl_detach(_mbus_ffi.NULL, 0) == -1  # not attached
    assert cirrow.rate() == 1


def test_an_aircraft_that_never_welcomes_is_given_up_in_bounded_time(tmp_path):
    path = str(tmp_path / "silent.sock")
    server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    server.bind(path)
    server.listen(1)
    started = time.monotonic()
    try:
        assert attach(path) == (-1, "the aircraft did not welcome this application within 5 s")
    finally:
        server.close()
    assert time.monotonic() - started < 8


def test_attached_once_and_never_beside_an_aircraft_in_this_process(aircraft):
    result, why = attach(aircraft.socket)
    assert result == -1 and why == f"already attached to the aircraft at {aircraft.socket}: detach first"
    # A process flying the aircraft in-process (MBUS_SIM=1) does not attach to another.
    code = ("import cirrow; from cirrow._binding import libraries, _mbus_ffi as f; b = f.new('char[]', 256); "
            f"r = libraries.mbus.mbus_ctl_attach({aircraft.socket!r}.encode(), b, 256); print(r, f.string(b).decode())")
    out = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=60,
                         env=dict(os.environ, MBUS_SIM="1", MBUS_QUIET="1"))
    assert out.stdout.strip() == "-1 the virtual aircraft flies in this process (MBUS_SIM=1): attach to one or fly the other"
