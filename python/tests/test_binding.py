"""The package over the library: every exported name with its C signature, the records' layout and
names, results checked, and the errors that name what from outside is wrong."""
import os
import re
import stat

import pytest

import cirrow
from cirrow._caches import CACHES
from cirrow import _declarations as decl

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))


def exported_names():
    folder = os.path.join(ROOT, "abi", "exported")
    return sorted(n.strip() for f in os.listdir(folder) for n in open(os.path.join(folder, f)) if n.strip())


def header_declarations():
    """{name: (return type, parameters) or (type, None) for an object}, read from the headers' text."""
    found = {}
    folder = os.path.join(ROOT, "include", "cirrow")
    for header in os.listdir(folder):
        text = re.sub(r"/\*.*?\*/", "", open(os.path.join(folder, header)).read(), flags=re.S)
        for m in re.finditer(r"CW_API\s+([\w\s\*]+?)\s*\b(\w+)\s*\(([^)]*)\)\s*;", text):
            found[m.group(2)] = (m.group(1), " ".join(m.group(3).split()))
        for m in re.finditer(r"extern\s+CW_API\s+([\w\s\*]+?)\s*\b(\w+)\s*;", text):
            found[m.group(2)] = (m.group(1), None)
    return found


def test_every_exported_name_is_reachable_with_its_c_signature():
    names, declared = exported_names(), header_declarations()
    assert len(names) == 250
    for name in names:
        ret, params = declared[name]
        if params is None:
            assert cirrow.ffi.typeof(cirrow.ffi.addressof(cirrow.lib, name)) == cirrow.ffi.typeof(f"{ret} *"), name
        else:
            assert cirrow.ffi.typeof(getattr(cirrow.lib, name)) == cirrow.ffi.typeof(f"{ret}(*)({params})"), name


def test_records_are_laid_out_as_the_headers_assert():
    # The headers' static assertions hold for cffi's records too (a packed record among them).
    ffi = cirrow.ffi
    assert decl.LAYOUT_CHECKS
    for condition, message in decl.LAYOUT_CHECKS:
        assert eval(condition, {"ffi": ffi}), message
    assert cirrow.ffi.new("FcState *") is not None


def test_record_fields_carry_the_links_names_units_and_signs():
    state = cirrow.Record("FcState")
    state.cdata.byte0, state.cdata.word3, state.cdata.word5 = 3, 123, 250
    assert (state.phase, state.height_dm, state.height_m, state.speed_ms) == (3, 123, 12.3, 2.5)
    assert state.byte0 == 3 and state.describe("phase") == "3 (in the air)"
    assert cirrow.flight.IN_AIR == 3 and cirrow.flight.ON_GROUND == 0
    assert {f.name: f.unit for f in state.fields()}["height_m"] == "m"
    gimbal = cirrow.Record("GimbalInfo")
    gimbal.cdata.field0, gimbal.cdata.field1 = 0xFE3E, 15  # -45.0 and 1.5 degrees
    assert gimbal.joint == [-450, 15, 0] and gimbal.joint_deg == [-45.0, 1.5, 0.0]
    with pytest.raises(AttributeError, match="FcState has no field 'altitude'"):
        state.altitude


def test_a_failed_command_raises_with_its_code_name_and_function():
    # Not attached to an aircraft: nothing on the link answers.
    with pytest.raises(cirrow.Error) as e:
        cirrow.api.cw_flight_takeoff()
    assert (e.value.code, e.value.name, e.value.function) == (-113, "MBUS_ERR_NO_PEER", "cw_flight_takeoff")
    with pytest.raises(cirrow.Error, match=r"cw_camera_switch_mode\(\) returned -1001 \(CW_ERR_ACK\)"):
        cirrow.api.cw_camera_switch_mode("PHOTO")


def test_caches_read_as_properties():
    assert {"flight_fc_state", "gimbal_main_gimbal_info", "nav_qs_proc", "nav_pano_status"} <= set(CACHES)
    cirrow.api.cw_set_nav_qs_proc(cirrow.ffi.new("int32_t *", 2))
    assert cirrow.caches.nav_qs_proc == 2
    assert isinstance(cirrow.caches.flight_fc_state, cirrow.Record)


def test_inputs_from_outside_are_named(tmp_path, monkeypatch):
    cirrow.libraries.load()  # loaded before CIRROW_HOME points elsewhere
    with pytest.raises(cirrow.SetupError, match="scenario nope.toml: no such file"):
        cirrow.Aircraft(scenario="nope.toml")
    with pytest.raises(cirrow.SetupError, match=f"scenario {tmp_path}: a directory"):
        cirrow.Aircraft(scenario=tmp_path)
    with pytest.raises(ValueError, match="speed 0: the aircraft flies at 0.01 to 100"):
        cirrow.Aircraft(speed=0)
    monkeypatch.setenv("CIRROW_HOME", str(tmp_path / "none"))
    with pytest.raises(cirrow.SetupError, match=r"CIRROW_HOME=.*none: not a directory"):
        cirrow.Aircraft().start()
    monkeypatch.setenv("CIRROW_HOME", str(tmp_path))
    with pytest.raises(cirrow.SetupError, match=r"CIRROW_HOME=.*: no bin/cirrow-aircraft there"):
        cirrow.Aircraft().start()
    # An aircraft that does not start: what it said comes with the error.
    (tmp_path / "bin").mkdir()
    fake = tmp_path / "bin" / "cirrow-aircraft"
    fake.write_text("#!/bin/sh\necho 'cirrow-aircraft: --speed 7: out of fuel' >&2\nexit 2\n")
    fake.chmod(fake.stat().st_mode | stat.S_IEXEC)
    with pytest.raises(cirrow.AircraftError, match="did not start .*out of fuel"):
        cirrow.Aircraft().start()


def test_a_scenario_the_aircraft_refuses_is_named(tmp_path):
    bad = tmp_path / "bad.toml"
    bad.write_text("[battery]\nstart = 400\n")
    with pytest.raises(cirrow.AircraftError, match="bad.toml"):
        cirrow.Aircraft(scenario=bad).start()
