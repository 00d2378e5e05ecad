"""The library's records as objects whose fields carry the names, meanings and units of the link's
messages (on the virtual aircraft), beside the C field names of the headers."""
from __future__ import annotations

from typing import Any, Dict, List, NamedTuple, Optional, Tuple

from . import _declarations as decl
from ._binding import ffi

# A field in a unit the link keeps in small steps, also read in the plain unit: the suffix its
# name carries, the plain reading's suffix, the plain unit and how many steps make one.
_PLAIN_UNITS: Dict[str, Tuple[str, str, str, int]] = {
    "dm": ("_dm", "_m", "m", 10),
    "cm/s": ("_cms", "_ms", "m/s", 100),
    "mV": ("_mv", "_v", "V", 1000),
    "ms": ("_ms", "_s", "s", 1000),
    "cA": ("", "_a", "A", 100),
    "0.1 deg": ("", "_deg", "deg", 10),
}


class Field(NamedTuple):
    """One field of a record: its name on the link, the C field, the link's type, meaning and unit."""

    name: str
    c_fields: Tuple[str, ...]  # the record's fields that hold it: one, or one per value
    type: str
    meaning: str
    unit: str
    steps: int = 1  # the C field counts in steps of 1/steps of the unit


def _fields(record: str) -> Dict[str, Field]:
    fields: Dict[str, Field] = {}
    for name, f in decl.RECORDS.get(record, {}).get("fields", {}).items():
        typ, meaning, unit, c_field = f["type"], f["meaning"], f["unit"], tuple(f["c"])
        fields[name] = Field(name, c_field, typ, meaning, unit)
        if unit in _PLAIN_UNITS:
            suffix, plain, plain_unit, steps = _PLAIN_UNITS[unit]
            base = name[: -len(suffix)] if suffix and name.endswith(suffix) else name
            fields[base + plain] = Field(base + plain, c_field, typ, meaning, plain_unit, steps)
    return fields


_FIELDS: Dict[str, Dict[str, Field]] = {r: _fields(r) for r in decl.RECORDS}


def named_values(meaning: str) -> Dict[int, str]:
    """The values a meaning names, by number: the link table's named values ("flight phase; named
    values: on the ground 0, motors starting 1"), else the ones its text lists ("1 take off, 6 land")."""
    if "named values:" in meaning:
        pairs = [part.strip().rsplit(None, 1)[::-1] for part in meaning.split("named values:", 1)[1].split(",")]
    elif ":" in meaning:
        pairs = [part.split(None, 1) for part in meaning.split(":", 1)[1].split(",")]
    else:
        return {}
    return {int(w[0]): w[1].strip() for w in pairs if len(w) == 2 and w[0].isdigit()}


def value_of(record: str, field: str, words: str) -> int:
    """The number the link reference gives a named value of a record's field (``in the air``)."""
    for number, name in named_values(_FIELDS[record][field].meaning).items():
        if name == words:
            return number
    raise KeyError(f"{record}.{field} has no value named {words!r}")


def _signed(value: Any, link_type: str) -> Any:
    """A value the record keeps unsigned, read as the signed value the link carries (i16: 0xFFFF is -1)."""
    bits = {"i8": 8, "i16": 16, "i32": 32}.get(link_type.split("[")[0])
    if bits and isinstance(value, int) and value >= 1 << (bits - 1):
        return value - (1 << bits)
    return value


class Record:
    """A copy of one of the library's records (``FcState``, ``GimbalInfo``, ...).

    Its fields read by the names the link reference gives them (``state.phase``,
    ``state.height_dm``), in plain units where the reference keeps small steps
    (``state.height_m``), and by their C names (``state.byte0``). ``Record.fields()`` lists them
    with their meanings and units; ``record.cdata`` is the cffi record itself."""

    def __init__(self, type_name: str, cdata: Optional[Any] = None) -> None:
        self.type_name = type_name
        self.cdata = cdata if cdata is not None else ffi.new(f"{type_name} *")
        self.message: str = decl.RECORDS.get(type_name, {}).get("message", "")

    @classmethod
    def fields_of(cls, type_name: str) -> List[Field]:
        """The named fields of a record type, with their meanings and units."""
        return list(_FIELDS.get(type_name, {}).values())

    def fields(self) -> List[Field]:
        return self.fields_of(self.type_name)

    def __getattr__(self, name: str) -> Any:
        field = _FIELDS.get(self.__dict__.get("type_name", ""), {}).get(name)
        if field is None:
            try:
                return getattr(self.__dict__["cdata"], name)
            except (AttributeError, KeyError):
                raise AttributeError(f"{self.__dict__.get('type_name')} has no field {name!r}") from None
        values = [getattr(self.cdata, c) for c in field.c_fields]
        if len(values) == 1 and isinstance(values[0], ffi.CData):
            values = list(values[0])
        values = [_signed(v, field.type) / field.steps if field.steps != 1 else _signed(v, field.type) for v in values]
        return values if len(values) > 1 or "[" in field.type else values[0]

    def describe(self, name: str) -> str:
        """A field's value with its unit and the meaning of a named value: ``3 (in the air)``."""
        field = _FIELDS[self.type_name][name]
        value = getattr(self, name)
        text = f"{value:g}" if isinstance(value, float) else str(value)
        named = named_values(field.meaning).get(value) if isinstance(value, int) else None
        return text + (f" {field.unit}" if field.unit else "") + (f" ({named})" if named else "")

    def __repr__(self) -> str:
        shown = [f"{f.name}={self.describe(f.name)}" for f in self.fields() if f.steps == 1]
        if not shown:
            shown = [f"{n}={getattr(self.cdata, n)!r}" for n, _ in ffi.typeof(self.cdata).item.fields]
        return f"<{self.type_name} {' '.join(shown)}>"
