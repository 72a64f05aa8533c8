#!/usr/bin/env bash
# Benchmark of the whole tool on a 10,000-frame sequence, in two cases:
#   patched - every frame's header differs and is written (appended);
#   right   - every frame already holds its timecode and is only read.
# Prints microseconds per frame and, where strace is present, system calls
# per frame with the calls that matter: the folder must be read once, each
# candidate's status queried at most once, and each frame cost only the
# calls of the header read (and write).
#   bench/chronex_bench.sh [BUILD_DIR] [FRAMES]
set -euo pipefail
build="${1:-build-bench}"
frames="${2:-10000}"
if [ ! -x "$build/tools/dpx-timecode-patch/chronex" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DLU_TESTS=OFF >/dev/null
  cmake --build "$build" -j 2 --target chronex chronex_make_sample >/dev/null
fi
chronex="$build/tools/dpx-timecode-patch/chronex"
make_sample="$build/tools/dpx-timecode-patch/chronex_make_sample"
work="$(mktemp -d /tmp/chronex_bench.XXXXXX)"
trap 'rm -rf "$work"' EXIT

now_us() { echo $(( $(date +%s%N) / 1000 )); }

# make_case NAME TIMECODE: a fresh sequence whose headers hold TIMECODE + n.
make_case() {
  rm -rf "$work/$1"
  "$make_sample" "$work/$1" -n "$frames" -p plate -t "$2" -f 24 -w 4 -h 4 \
    >/dev/null
}

run_case() {  # run_case NAME HEADER_TIMECODE
  local name="$1" header_tc="$2" t0 t1 out lines
  make_case "$name" "$header_tc"
  sync
  t0=$(now_us)
  "$chronex" "$work/$name/plate.#.dpx" -f 24 -t 01:00:00:00 \
    >"$work/$name.out"
  t1=$(now_us)
  lines=$(grep -c '^plate\.' "$work/$name.out")
  [ "$lines" -eq "$frames" ] || { echo "$name: $lines lines" >&2; exit 1; }
  awk -v name="$name" -v n="$frames" -v us=$(( t1 - t0 )) 'BEGIN {
    printf "%-8s %6d frames  %8.2f us/frame  (%d ms in all)\n", name, n,
      us / n, us / 1000 }'
  if command -v strace >/dev/null 2>&1; then
    make_case "$name" "$header_tc"
    strace -c -f -o "$work/$name.strace" "$chronex" \
      "$work/$name/plate.#.dpx" -f 24 -t 01:00:00:00 >/dev/null
    awk -v n="$frames" -v name="$name" '
      $NF == "total" { total = $4 }
      $1 ~ /^[0-9.]+$/ && NF >= 5 { calls[$NF] = $4 }
      END {
        printf "%-8s %8.2f system calls/frame (%d in all)\n", name, total / n, total
        split("openat read write lseek close fadvise64 fcntl newfstatat statx stat lstat getdents64", want, " ")
        line = "         "
        for (i = 1; i in want; i++)
          if (want[i] in calls)
            line = line sprintf(" %s %.3g", want[i], calls[want[i]] / n)
        print line "  (per frame; stdout writes included)"
      }' "$work/$name.strace"
  fi
}

echo "chronex on $frames frames ($(nproc) cores, $(uname -r))"
run_case patched 10:00:00:00
run_case right 01:00:00:00
