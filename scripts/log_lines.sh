#!/bin/sh
# Collects every line the library writes on its two log channels while the command tests run
# (the fault table, the command tests of each module, the building blocks' tests), with the
# usrlog's boot time blanked, so that two builds can be compared line for line:
#   scripts/log_lines.sh build > before.txt; ...; scripts/log_lines.sh build | diff before.txt -
set -eu
build=${1:-build}
for t in test_faults test_flight test_camera test_gimbal test_vision test_core; do
    bin=$(find "$build/tests" -name "$t" -type f -perm -u+x | head -n 1)
    if [ -z "$bin" ]; then
        echo "log_lines: $t is not built in $build" >&2
        exit 1
    fi
    echo "== $t"
    CW_TEST_ECHO=1 MBUS_QUIET=0 MBUS_ECHO=raw MBUS_LOG_LEVEL=9 "$bin" 2>&1 |
        grep -a -E '^ *[0-9]+ USRLOG\[|\[68\]\[L[0-9]\]' |
        sed -E 's/^ *[0-9]+ USRLOG/USRLOG/'
done
