#!/usr/bin/env bash
# The link commands' two build-time rules:
#  1. a command's bytes are laid out from its row in the message table: cw_protocal/src/api/ holds
#     no field-type list (le::pack<...>), no literal offset (le::put/get at a number, ans[n],
#     data() + n) and no literal length (AnswerBuffer<n>, std::array<T, n>, a kXxxLen/kXxxAt
#     constant);
#  2. the library calls its own exported functions directly: no call goes through the PLT to a
#     name the library exports.
#   scripts/check_commands.sh [libcirrow.so [objdump]]
# Without a library, only the first rule is checked.
set -euo pipefail
cd "$(dirname "$0")/.."
lib=${1:-}
objdump=${2:-objdump}
status=0

patterns=(
    'le::pack<'
    'le::(put|get)<[^>]*>\([^,()]+, *[0-9]'
    'AnswerBuffer<[0-9]'
    '\bans\[[0-9]'
    'data\(\) *\+ *[0-9]'
    'constexpr size_t k[A-Za-z0-9]*(Len|At|Head) = [0-9]'
    'std::array<[a-z0-9_]+, [0-9]'
)
regex=$(IFS='|'; echo "${patterns[*]}")
# A log line that dumps the answer's first bytes as they came is not a layout.
dump='%02x %02x|ans\[[0-9]\], ans\[[0-9]\]'
found=$(grep -n -E "$regex" cw_basic/cw_communication/cw_protocal/src/api/*.cpp | grep -v -E "$dump" || true)
if [ -n "$found" ]; then
    echo "check_commands: a layout the message table already states is written by hand again:" >&2
    echo "$found" >&2
    status=1
else
    echo "check_commands: no hand-written layout in cw_protocal/src/api/"
fi

if [ -n "$lib" ]; then
    if [ ! -f "$lib" ]; then
        echo "check_commands: $lib: no such library" >&2
        exit 2
    fi
    exported=$(cat abi/exported/*.txt | sort -u)
    called=$("$objdump" -d "$lib" | grep -oE '<[A-Za-z_][A-Za-z0-9_]*@plt>' | sed -E 's/<(.*)@plt>/\1/' | sort -u)
    through=$(comm -12 <(echo "$exported") <(echo "$called"))
    if [ -n "$through" ]; then
        echo "check_commands: the library calls its own exported functions through the PLT:" >&2
        echo "$through" >&2
        status=1
    else
        echo "check_commands: no call to an exported name through the PLT ($(echo "$called" | grep -c . || true) PLT targets, all outside)"
    fi
fi
exit $status
