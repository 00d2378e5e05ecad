#!/usr/bin/env bash
# Mutation check of the test suite: how many small faults planted in the library the tests catch.
#
#   scripts/mutants.sh [-n COUNT] [-s SEED] [-b BUILD_DIR] [-t TIMEOUT] [--list]
#
# Draws a fixed, seeded sample of single-token mutants from the library's C++ sources
# (cw_basic/**/*.cpp): a comparison flipped (== and != swapped, < <= > >= moved by one), an integer
# constant changed (0 -> 1, 1 -> 0, n -> n + 1), && and || swapped, a returned value changed
# (0 -> -1, true <-> false, anything else -> 0). Only code is mutated: comments, string literals
# (the log lines' text) and preprocessor lines are left alone. The same sources and the same seed
# give the same mutants.
#
# The working tree is never modified: its files are mirrored into BUILD_DIR/src and each mutant is
# applied there, built (-O0, incremental: the mutated translation unit and the libraries), run
# through ctest (stopping at the first failing test program, each with TIMEOUT seconds) and then
# undone, also when the run is interrupted. Fates:
#   killed        a test failed, crashed or timed out
#   survived      every test passed
#   not compiled  the mutant does not build; it is left out of the score
# The score printed at the end is killed/(killed + survived).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
count=80 seed=11 build="$root/build-mutants" timeout=60 list=0
while [[ $# -gt 0 ]]; do
    case $1 in
        -n) count=$2; shift 2 ;;
        -s) seed=$2; shift 2 ;;
        -b) build=$(realpath -m "$2"); shift 2 ;;
        -t) timeout=$2; shift 2 ;;
        --list) list=1; shift ;;
        -h|--help) sed -n '2,21p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "mutants.sh: unknown argument $1" >&2; exit 2 ;;
    esac
done
export MBUS_QUIET=1
exec python3 - "$root" "$build" "$count" "$seed" "$timeout" "$list" <<'PY'
import os, random, re, shutil, signal, subprocess, sys, time

root, build, count, seed, timeout, list_only = sys.argv[1:7]
count, seed, timeout, list_only = int(count), int(seed), int(timeout), list_only == "1"
src = os.path.join(build, "src")
obj = os.path.join(build, "obj")

# ---- candidates ----------------------------------------------------------------------------

def code_only(lines):
    """Each line with comments and string/char literal contents blanked (same length)."""
    out, in_block = [], False
    for line in lines:
        res, i, n = [], 0, len(line)
        while i < n:
            c = line[i]
            if in_block:
                if line.startswith("*/", i):
                    in_block = False
                    res.append("  ")
                    i += 2
                else:
                    res.append(" ")
                    i += 1
            elif line.startswith("//", i):
                res.append(" " * (n - i))
                break
            elif line.startswith("/*", i):
                in_block = True
                res.append("  ")
                i += 2
            elif c in "\"'":
                j = i + 1
                while j < n and line[j] != c:
                    j += 2 if line[j] == "\\" else 1
                res.append(c + " " * (min(j, n) - i - 1) + (c if j < n else ""))
                i = j + 1
            else:
                res.append(c)
                i += 1
        out.append("".join(res)[:n])
    return out

CMP = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
CMP_RE = re.compile(r"(?<=\s)(==|!=|<=|>=|<|>)(?=\s)")
LOGIC_RE = re.compile(r"(?<=\s)(&&|\|\|)(?=\s)")
INT_RE = re.compile(r"(?<![\w.])(0[xX][0-9A-Fa-f]+|\d+)([uUlL]*)(?![\w.])")
RET_RE = re.compile(r"\breturn\s+([^;]+?)\s*;")

def changed_int(tok):
    v = int(tok, 0)
    nv = 1 if v == 0 else 0 if v == 1 else v + 1
    return ("0x%X" % nv) if tok.lower().startswith("0x") else str(nv)

def candidates(rel, text):
    lines = text.split("\n")
    out = []
    for no, (line, code) in enumerate(zip(lines, code_only(lines)), 1):
        s = code.strip()
        if not s or s.startswith("#") or "static_assert" in s or "alignas" in s:
            continue
        for m in CMP_RE.finditer(code):
            out.append((rel, no, m.start(), m.group(1), CMP[m.group(1)], "comparison"))
        for m in LOGIC_RE.finditer(code):
            out.append((rel, no, m.start(), m.group(1), "||" if m.group(1) == "&&" else "&&", "logic"))
        for m in INT_RE.finditer(code):
            # not inside a template argument list or an array bound of a declaration type
            out.append((rel, no, m.start(1), m.group(1), changed_int(m.group(1)), "constant"))
        for m in RET_RE.finditer(code):
            expr = line[m.start(1):m.end(1)]
            if expr == "0":
                new = "-1"
            elif expr in ("true", "false"):
                new = "false" if expr == "true" else "true"
            elif expr.startswith("{"):
                new = None  # an aggregate: "0" would not build
            elif expr in ("nullptr", "-1"):
                new = "0" if expr == "-1" else None
            else:
                new = "0"
            if new:
                out.append((rel, no, m.start(1), expr, new, "return"))
    return out

def sources(base):
    found = []
    for d, _, files in os.walk(os.path.join(base, "cw_basic")):
        for f in files:
            if f.endswith(".cpp"):
                found.append(os.path.relpath(os.path.join(d, f), base))
    return sorted(found)

def read(path):
    with open(path, encoding="utf-8") as f:
        return f.read()

def write(path, text):
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)

pool = []
for rel in sources(root):
    pool += candidates(rel, read(os.path.join(root, rel)))
pool.sort()
# A quarter of each kind where the sources have that many, the rest from all that is left.
rng = random.Random(seed)
chosen = []
for kind in ("comparison", "constant", "logic", "return"):
    of_kind = [c for c in pool if c[5] == kind]
    chosen += rng.sample(of_kind, min(count // 4, len(of_kind)))
rest = [c for c in pool if c not in chosen]
chosen += rng.sample(rest, min(count - len(chosen), len(rest)))
sample = sorted(chosen)
mutants = [("M%02d" % (i + 1),) + m for i, m in enumerate(sample)]

def describe(m):
    mid, rel, no, col, old, new, kind = m
    return "%s %s:%d %-10s %s -> %s" % (mid, rel, no, kind, old, new)

print("mutants.sh: %d candidates in %d sources, %d drawn with seed %d"
      % (len(pool), len(sources(root)), len(mutants), seed), flush=True)
if list_only:
    for m in mutants:
        print(describe(m))
    sys.exit(0)

# ---- the mirror and its build --------------------------------------------------------------

def tracked_files():
    out = subprocess.run(["git", "-C", root, "ls-files", "-co", "--exclude-standard", "-z"],
                         check=True, capture_output=True).stdout.decode()
    return [f for f in out.split("\0") if f and not f.startswith("build")]

def mirror():
    files = tracked_files()
    keep = set(files)
    for d, _, names in os.walk(src):
        for f in names:
            if os.path.relpath(os.path.join(d, f), src) not in keep:
                os.remove(os.path.join(d, f))  # gone from the tree
    for rel in files:
        a, b = os.path.join(root, rel), os.path.join(src, rel)
        if not os.path.isfile(a):
            continue
        if os.path.exists(b):
            with open(a, "rb") as fa, open(b, "rb") as fb:
                if fa.read() == fb.read():
                    continue
        os.makedirs(os.path.dirname(b), exist_ok=True)
        shutil.copyfile(a, b)

def run(cmd, log):
    with open(log, "w") as f:
        return subprocess.run(cmd, stdout=f, stderr=subprocess.STDOUT).returncode

pending = {}  # mirror path -> original text, while a mutant is applied

def restore():
    for path, text in list(pending.items()):
        write(path, text)
        del pending[path]

def on_signal(signum, _frame):
    raise KeyboardInterrupt

signal.signal(signal.SIGTERM, on_signal)
os.makedirs(build, exist_ok=True)
# Every run starts from the working tree as it is (and so undoes a mutant left by a killed run).
mirror()
if not os.path.exists(os.path.join(obj, "build.ninja")):
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    rc = run(["cmake", "-S", src, "-B", obj] + generator + ["-DCMAKE_BUILD_TYPE=Mutants",
              "-DCMAKE_C_FLAGS_MUTANTS=-O0", "-DCMAKE_CXX_FLAGS_MUTANTS=-O0", "-DCW_WERROR=OFF",
              "-DCW_BUILD_EXAMPLES=OFF", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"],
             os.path.join(build, "configure.log"))
    if rc:
        sys.exit("mutants.sh: configure failed, see %s/configure.log" % build)

jobs = os.environ.get("MUTANTS_JOBS", "2")
ctest = ["ctest", "--test-dir", obj, "-j", jobs, "--timeout", str(timeout), "--stop-on-failure", "--output-on-failure",
         "-E", "^mbus$"]  # the stand-in's own tests do not load the library

def build_and_test(tag):
    """The mutant's fate, and the test programs that failed."""
    if run(["cmake", "--build", obj, "-j", jobs], os.path.join(build, tag + ".build.log")):
        return "not compiled", ""
    log = os.path.join(build, tag + ".test.log")
    if run(ctest, log) == 0:
        return "survived", ""
    failed = re.findall(r"^\s+\d+ - (\S+) \(", read(log), re.M)
    return "killed", ",".join(failed)

start = time.time()
base, _ = build_and_test("baseline")
if base != "survived":
    sys.exit("mutants.sh: the unmutated library %s; see %s/baseline.*.log" %
             ("does not build" if base == "not compiled" else "fails its tests", build))
print("mutants.sh: baseline builds and passes (%.0f s)" % (time.time() - start), flush=True)

fates = {"killed": 0, "survived": 0, "not compiled": 0}
survivors = []
try:
    for m in mutants:
        mid, rel, no, col, old, new, kind = m
        path = os.path.join(src, rel)
        text = read(path)
        lines = text.split("\n")
        line = lines[no - 1]
        assert line[col:col + len(old)] == old, describe(m)
        lines[no - 1] = line[:col] + new + line[col + len(old):]
        pending[path] = text
        write(path, "\n".join(lines))
        t0 = time.time()
        try:
            fate, by = build_and_test(mid)
        finally:
            restore()
        fates[fate] += 1
        if fate == "survived":
            survivors.append(m)
        print("%-70s %-12s (%.0f s)" % (describe(m), fate + (" by " + by if by else ""), time.time() - t0),
              flush=True)
        print("      %s" % lines[no - 1].strip(), flush=True)
except KeyboardInterrupt:
    restore()
    print("mutants.sh: interrupted; the mirror is restored", flush=True)
    sys.exit(130)
finally:
    restore()
    run(["cmake", "--build", obj, "-j", jobs], os.path.join(build, "restored.build.log"))

scored = fates["killed"] + fates["survived"]
print()
print("survivors:")
for m in survivors:
    print("  " + describe(m))
print("not compiled (left out of the score): %d" % fates["not compiled"])
print("score: %d/%d killed (%.1f %%), %d mutants, seed %d, %.0f s"
      % (fates["killed"], scored, 100.0 * fates["killed"] / max(scored, 1), len(mutants), seed,
         time.time() - start))
PY
