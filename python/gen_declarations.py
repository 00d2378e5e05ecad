#!/usr/bin/env python3
"""Generates cirrow/_declarations.py from the public headers and the link reference.

The Python package declares nothing by hand: its cffi declarations are the public headers as the C
preprocessor sees them, its integer constants the headers' #defines, its layout checks the headers'
static assertions, and the names, meanings and units of the records' fields come from the link
reference (docs/link_reference.md) for every record whose header names the message it holds.

    gen_declarations.py --include DIR --platform DIR --link-reference FILE --out FILE [--cc CC]
"""
import argparse
import os
import pprint
import re
import shlex
import subprocess
import sys
import tempfile

# What cffi's C parser does not take: compiler attributes and the C library's own headers (cffi
# knows the standard integer types).
_FAKE_HEADERS = ("stdint.h", "stddef.h", "stdbool.h")
_PREDEFINED = ["-D__attribute__(x)=", "-D__extension__=", "-D__restrict=", "-D__inline="]


def preprocess(cc, header, include_dirs):
    """Returns `header` as the preprocessor sees it, with the C library's headers left empty."""
    with tempfile.TemporaryDirectory() as fake:
        for name in _FAKE_HEADERS:
            open(os.path.join(fake, name), "w").close()
        cmd = shlex.split(cc) + ["-E", "-P", "-nostdinc", "-std=c11", "-I", fake]
        for d in include_dirs:
            cmd += ["-I", d]
        cmd += _PREDEFINED + [header]
        try:
            out = subprocess.run(cmd, capture_output=True, text=True)
        except OSError as e:
            sys.exit(f"gen_declarations: --cc {cc}: cannot run it: {e}")
        if out.returncode != 0:
            sys.exit(f"gen_declarations: {header}: the preprocessor ({cc}) failed:\n{out.stderr}")
        return out.stdout


def take_static_asserts(text):
    """Removes the _Static_assert declarations from `text`; returns (text, [(condition, message)])."""
    asserts = []
    out = []
    pos = 0
    for m in re.finditer(r"_Static_assert\s*\(", text):
        if m.start() < pos:
            continue
        depth, i = 1, m.end()
        while depth:
            depth += {"(": 1, ")": -1}.get(text[i], 0)
            i += 1
        inner = text[m.end():i - 1]
        m2 = re.match(r'(.*),\s*"((?:[^"\\]|\\.)*)"\s*$', inner, re.S)  # the message is the last string
        cond, msg = m2.groups() if m2 else (inner, "")
        asserts.append((" ".join(cond.split()), msg))
        out.append(text[pos:m.start()])
        pos = text.index(";", i) + 1
    out.append(text[pos:])
    return "".join(out), asserts


def packed_chunks(text):
    """Splits `text` at its #pragma pack lines: [(declarations, pack or None)], for cffi's cdef."""
    chunks, stack, pos = [], [None], 0
    for m in re.finditer(r"^\s*#pragma\s+pack\s*\(([^)]*)\)\s*$", text, re.M):
        chunks.append((text[pos:m.start()], stack[-1]))
        arg = [a.strip() for a in m.group(1).split(",")]
        if arg[0] == "push":
            stack.append(int(arg[1]) if len(arg) > 1 else stack[-1])
        elif arg[0] == "pop":
            stack.pop()
        else:
            stack[-1] = int(arg[0]) if arg[0] else None
        pos = m.end()
    chunks.append((text[pos:], stack[-1]))
    return [(c, p) for c, p in chunks if c.strip()]


def python_condition(cond):
    """A header's static assertion as a Python expression over a cffi object named ffi."""
    cond = re.sub(r"offsetof\s*\(\s*(\w+)\s*,\s*([\w.]+)\s*\)", r'ffi.offsetof("\1", "\2")', cond)
    cond = re.sub(r"sizeof\s*\(\s*([\w ]+?\s*\**)\s*\)", r'ffi.sizeof("\1")', cond)
    return cond.replace("&&", " and ").replace("||", " or ")


def integer_defines(include_dirs, names):
    """The #define NAME <integer> of the headers, {name: value}."""
    found = {}
    for d in include_dirs:
        for header in sorted(os.listdir(d)):
            if not header.endswith(".h") or (names and header not in names):
                continue
            with open(os.path.join(d, header)) as f:
                for m in re.finditer(r"^#define\s+([A-Z][A-Z0-9_]*)\s+\(?\s*(-?(?:0x[0-9A-Fa-f]+|\d+))[uU]?\s*\)?\s*(?:/[*/].*)?$",
                                     f.read(), re.M):
                    found[m.group(1)] = int(m.group(2), 0)
    return found


def string_defines(header):
    with open(header) as f:
        return dict(re.findall(r'^#define\s+(\w+)\s+"([^"]*)"', f.read(), re.M))


def link_reference(path):
    """{message: {offset: (field, type, meaning, unit)}} for the pushes and answers of the reference."""
    messages = {}
    current = None
    with open(path) as f:
        for line in f:
            m = re.match(r"^### (\S+) \((push|answer|request) ", line)
            if m:
                current = messages.setdefault(m.group(1), {}) if m.group(2) != "request" else None
                continue
            if line.startswith("#"):
                current = None
                continue
            m = re.match(r"^\| (\d+) \| `(\w+)` \| ([^|]*)\| ([^|]*)\| ([^|]*)\|", line)
            if current is not None and m:
                current.setdefault(int(m.group(1)), tuple(x.strip() for x in m.group(2, 3, 4, 5)))
    return messages


_C_SIZES = {"uint8_t": 1, "int8_t": 1, "char": 1, "uint16_t": 2, "int16_t": 2, "uint32_t": 4, "int32_t": 4,
            "float": 4, "double": 8}
_LINK_SIZES = {"u8": 1, "i8": 1, "bytes": 1, "u16": 2, "i16": 2, "u32": 4, "i32": 4, "f32": 4, "f64": 8}


def _link_type(typ):
    """(element size, count) of a link type: u16 -> (2, 1), i16[3] -> (2, 3); count 0: to the end."""
    m = re.match(r"(\w+)(?:\[(\d+)\])?", typ)
    count = int(m.group(2)) if m.group(2) else (0 if "to the end" in typ else 1)
    return _LINK_SIZES.get(m.group(1)), count


def records(include_dir, reference):
    """{record: {"message": name, "fields": {name: {"c": [c_field...], "type", "meaning", "unit"}}}}
    for every record whose header says which message it holds and whose fields say which bytes
    they are. A message's field is read from the record's fields that hold its bytes, values of
    the same size: one field (an array of as many values), or one field per value. A name two of
    the record's fields would share is left to neither."""
    result = {}
    for header in sorted(os.listdir(include_dir)):
        with open(os.path.join(include_dir, header)) as f:
            text = f.read()
        for m in re.finditer(r"/\*\*((?:(?!\*/).)*?)\*/\s*typedef struct\s*\{(.*?)\}\s*(\w+);", text, re.S):
            doc, body, record = m.groups()
            ref = re.search(r"link_reference,\s*([\w.]+?)\.?\s", doc + " ")
            if not ref or ref.group(1) not in reference:
                continue
            # The record's fields by their first byte in the message: (name, value size, count).
            at, shared = {}, set()
            for fm in re.finditer(r"(\w+)\s+(\w+)(?:\[(\w+)\])?;\s*/\*\*<\s*(?:[\w ]*?)\bbytes? (\d+)\b", body):
                count = int(fm.group(3)) if fm.group(3) and fm.group(3).isdigit() else (1 if not fm.group(3) else -1)
                offset = int(fm.group(4))
                if offset in at:
                    shared.add(offset)  # parts of one byte (its bits): no value of the message's
                at[offset] = (fm.group(2), _C_SIZES.get(fm.group(1)), count)
            for offset in shared:
                del at[offset]
            fields = {}
            for offset, (name, typ, meaning, unit) in reference[ref.group(1)].items():
                size, count = _link_type(typ)
                first = at.get(offset)
                if size is None or first is None or first[1] != size:
                    continue
                if first[2] == count:  # one field holds them all
                    c_fields = [first[0]]
                elif first[2] == 1 and count > 1 and all(at.get(offset + i * size, ("", 0, 0))[1:] == (size, 1)
                                                         for i in range(count)):
                    c_fields = [at[offset + i * size][0] for i in range(count)]
                else:
                    continue
                fields[name] = {"c": c_fields, "type": typ, "meaning": meaning, "unit": unit}
            used = [c for f in fields.values() for c in f["c"]]
            fields = {k: v for k, v in fields.items() if all(used.count(c) == 1 for c in v["c"])}
            if fields:
                result[record] = {"message": ref.group(1), "fields": fields}
    return result


def getters(cdef):
    """{function: type} of the functions that copy one cache out: cw_..._get_...(T *out)."""
    found = {}
    for m in re.finditer(r"\bint32_t\s+(cw_\w*?get_\w+)\s*\(\s*(\w+)\s*\*\s*\w*\s*\)\s*;", cdef):
        found[m.group(1)] = m.group(2)
    return found


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--include", required=True, help="the public headers' directory (holding cirrow/)")
    ap.add_argument("--platform", required=True, help="the stand-in's headers (mbus.h, mbus_ctl.h)")
    ap.add_argument("--link-reference", required=True, help="docs/link_reference.md")
    ap.add_argument("--out", required=True, help="the module to write")
    ap.add_argument("--cc", default=os.environ.get("CC", "cc"), help="the C compiler that preprocesses")
    args = ap.parse_args()
    headers = os.path.join(args.include, "cirrow")
    for path in (os.path.join(headers, "cirrow.h"), os.path.join(args.platform, "mbus_ctl.h"), args.link_reference):
        if not os.path.isfile(path):
            sys.exit(f"gen_declarations: {path}: no such file")
    cirrow_cdef, asserts = take_static_asserts(preprocess(args.cc, os.path.join(headers, "cirrow.h"), [args.include]))
    mbus_cdef, _ = take_static_asserts(preprocess(args.cc, os.path.join(args.platform, "mbus_ctl.h"), [args.platform]))
    constants = integer_defines([headers], None)
    mbus_constants = integer_defines([args.platform], {"mbus_ctl.h"})
    reference = link_reference(args.link_reference)
    out = [
        "# Generated by gen_declarations.py from the public headers and the link reference: do not edit.",
        f"VERSION = {string_defines(os.path.join(headers, 'cirrow.h')).get('CIRROW_VERSION', '')!r}",
        f"CIRROW_CDEF = {pprint.pformat(packed_chunks(cirrow_cdef))}",
        f"CONSTANTS = {pprint.pformat(constants)}",
        f"LAYOUT_CHECKS = {pprint.pformat([(python_condition(c), msg) for c, msg in asserts])}",
        f"MBUS_CDEF = {pprint.pformat(packed_chunks(mbus_cdef))}",
        f"MBUS_CONSTANTS = {pprint.pformat(mbus_constants)}",
        f"GETTERS = {pprint.pformat(getters(cirrow_cdef))}",
        f"RECORDS = {pprint.pformat(records(headers, reference), width=120)}",
    ]
    tmp = args.out + ".tmp"
    with open(tmp, "w") as f:
        f.write("\n".join(out) + "\n")
    os.replace(tmp, args.out)


if __name__ == "__main__":
    main()
