#!/usr/bin/env bash
# Footprint of libcirrow.so on the aircraft, measured on an ARM build made with -fstack-usage
# (the arm preset): stripped size, the largest stack frames, the shared objects it needs.
# Fails when a figure is over the budget below.
#   scripts/footprint.sh build-arm
set -euo pipefail
build=$1
root=$(cd "$(dirname "$0")/.." && pwd)
# Budget, set from what the library measures with a margin for growth.
max_stripped_bytes=$((96 * 1024))   # measured 75580 with every module
max_frame_bytes=1100       # the usrlog writer's 1024-byte line plus a small margin
max_handler_frame_bytes=256 # push handlers: their records, the leveled head goes through CW_LOG
allowed_needed="libc.so.6 libm.so.6"

lib="$build/libcirrow.so"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
arm-linux-gnueabihf-strip -o "$tmp/libcirrow.so" "$lib"
size=$(stat -c %s "$tmp/libcirrow.so")
status=0

echo "footprint of $lib"
printf '  stripped size: %d bytes (budget %d)\n' "$size" "$max_stripped_bytes"
[ "$size" -le "$max_stripped_bytes" ] || { echo "  over budget: stripped size"; status=1; }

# -fstack-usage writes one .su file per object: "file:line:col:function<TAB>bytes<TAB>kind".
find "$build/CMakeFiles/cirrow.dir" -name '*.su' -exec cat {} + > "$tmp/frames"
[ -s "$tmp/frames" ] || { echo "  no stack usage data (build with -fstack-usage)"; exit 1; }
sort -t$'\t' -k2,2nr "$tmp/frames" > "$tmp/sorted"
echo "  largest stack frames:"
head -n 5 "$tmp/sorted" | sed 's|^[^\t]*/||' | awk -F'\t' '{ printf "    %6d  %s (%s)\n", $2, $1, $3 }'
top=$(head -n 1 "$tmp/sorted" | cut -f2)
[ "$top" -le "$max_frame_bytes" ] || { echo "  over budget: a frame of $top bytes (budget $max_frame_bytes)"; status=1; }
dynamic=$(awk -F'\t' '$3 ~ /dynamic/ && $3 !~ /bounded/' "$tmp/frames")
[ -z "$dynamic" ] || { echo "  unbounded dynamic stack use:"; echo "$dynamic"; status=1; }
handlers=$(grep '/callback/' "$tmp/sorted" | head -n 1 || true)
if [ -n "$handlers" ]; then
  hb=$(echo "$handlers" | cut -f2)
  printf '  largest push-handler frame: %d bytes (budget %d)\n' "$hb" "$max_handler_frame_bytes"
  [ "$hb" -le "$max_handler_frame_bytes" ] || { echo "  over budget: push handler frame"; status=1; }
fi

needed=$(arm-linux-gnueabihf-readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' ')
echo "  needs: $needed"
for n in $needed; do
  case " $allowed_needed " in *" $n "*) ;; *) echo "  not allowed: $n"; status=1 ;; esac
done
soname=$(arm-linux-gnueabihf-readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
echo "  soname: $soname"
[ -n "$soname" ] || { echo "  no SONAME"; status=1; }
[ $status -eq 0 ] && echo "footprint: within budget" || echo "footprint: OVER BUDGET"
exit $status
