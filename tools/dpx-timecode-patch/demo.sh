#!/usr/bin/env bash
# Demo: generate a 48-frame DPX sequence with the project's own sample
# generator and give it a running timecode from 01:00:00:00 at 24 fps.
#   tools/dpx-timecode-patch/demo.sh [BUILD_DIR]     (make demo runs it)
set -euo pipefail
build="${1:-build}"
chronex="$build/tools/dpx-timecode-patch/chronex"
make_sample="$build/tools/dpx-timecode-patch/chronex_make_sample"
for tool in "$chronex" "$make_sample"; do
  if [ ! -x "$tool" ]; then
    echo "missing $tool: build first (make demo)" >&2
    exit 1
  fi
done

demo="$build/demo"
rm -rf "$demo"
"$make_sample" "$demo" -n 48 -p plate -t 10:00:00:00 -f 24
size_before=$(stat -c %s "$demo/plate.0001.dpx")

echo
echo "\$ chronex $demo/plate.0001.dpx -f 24 -t 01:00:00:00"
set +e
"$chronex" "$demo/plate.0001.dpx" -f 24 -t 01:00:00:00
status=$?
set -e
echo "(exit status $status)"

size_after=$(stat -c %s "$demo/plate.0001.dpx")
echo
echo "plate.0001.dpx grew from $size_before to $size_after bytes: the patched"
echo "header is appended, the original header at offset 0 is kept."
exit "$status"
