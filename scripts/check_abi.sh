#!/usr/bin/env bash
# Checks the exported symbols of a built libcirrow.so against abi/exported minus abi/pending.
#   scripts/check_abi.sh path/to/libcirrow.so [nm]
set -euo pipefail
lib=$1
nm=${2:-nm}
root=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

cat "$root"/abi/exported/*.txt | sed '/^\s*$/d' | sort -u > "$tmp/listed"
if compgen -G "$root/abi/pending/*.txt" > /dev/null; then
  cat "$root"/abi/pending/*.txt | sed '/^\s*$/d' | sort -u > "$tmp/pending"
else
  : > "$tmp/pending"
fi
comm -23 "$tmp/listed" "$tmp/pending" > "$tmp/expected"
"$nm" -D --defined-only "$lib" | awk 'NF >= 3 && $2 != "A" { print $3 }' | sed 's/@.*//' | sort -u > "$tmp/actual"

status=0
stray=$(comm -13 "$tmp/listed" "$tmp/actual")
missing=$(comm -23 "$tmp/expected" "$tmp/actual")
unlisted_pending=$(comm -13 "$tmp/listed" "$tmp/pending")
early=$(comm -12 "$tmp/pending" "$tmp/actual")
if [ -n "$stray" ]; then echo "exported but on no list:"; echo "$stray" | sed 's/^/  /'; status=1; fi
if [ -n "$missing" ]; then echo "listed but not exported:"; echo "$missing" | sed 's/^/  /'; status=1; fi
if [ -n "$unlisted_pending" ]; then echo "pending but not listed:"; echo "$unlisted_pending" | sed 's/^/  /'; status=1; fi
if [ -n "$early" ]; then echo "exported but still pending (take them off the pending list):"; echo "$early" | sed 's/^/  /'; status=1; fi
echo "abi: $(wc -l < "$tmp/actual") exported, $(wc -l < "$tmp/pending") pending, $(wc -l < "$tmp/listed") listed"
exit $status
