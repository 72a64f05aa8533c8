#!/usr/bin/env bash
# Benchmark of the whole tool on a 10,000-frame sequence, in two cases:
#   patched - every frame's header differs and is written (appended);
#   right   - every frame already holds its timecode and is only read.
# Prints microseconds per frame and system calls per frame (perf, else
# strace) with the calls that matter: the folder must be read once, each
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
  make_case "$name" "$header_tc"
  # Counted by the kernel's trace points (perf) where possible: strace slows
  # every call down so much that chronex sees slow storage and takes its
  # worker pool.
  if perf stat -e raw_syscalls:sys_enter true >/dev/null 2>&1; then
    local kinds="openat read write lseek close newfstatat newfstat pread64"
    kinds="$kinds fadvise64 fcntl statx getdents64 futex"
    local events="-e raw_syscalls:sys_enter" k
    for k in $kinds; do events="$events -e syscalls:sys_enter_$k"; done
    # shellcheck disable=SC2086
    perf stat -x, $events -o "$work/$name.calls" "$chronex" \
      "$work/$name/plate.#.dpx" -f 24 -t 01:00:00:00 >/dev/null
    sed -n -e 's/^\([0-9]*\),.*syscalls:sys_enter_\([a-z0-9]*\),.*/\2 \1/p' \
        -e 's/^\([0-9]*\),.*raw_syscalls:sys_enter,.*/total \1/p' \
        "$work/$name.calls" >"$work/$name.counts"
  elif command -v strace >/dev/null 2>&1; then
    strace -c -f -o "$work/$name.strace" "$chronex" \
      "$work/$name/plate.#.dpx" -f 24 -t 01:00:00:00 >/dev/null
    awk '$NF == "total" { print "total", $4 }
         $1 ~ /^[0-9.]+$/ && NF >= 5 { print $NF, $4 }' \
      "$work/$name.strace" >"$work/$name.counts"
  else
    return 0
  fi
  awk -v n="$frames" -v name="$name" '
    { calls[$1] += $2 }
    END {
      printf "%-8s %8.2f system calls/frame (%d in all)\n", name,
        calls["total"] / n, calls["total"]
      split("openat read write lseek close newfstatat newfstat pread64 fadvise64 fcntl statx getdents64 futex", want, " ")
      line = "         "
      for (i = 1; i in want; i++)
        if (calls[want[i]] > 0)
          line = line sprintf(" %s %.3g", want[i], calls[want[i]] / n)
      print line "  (per frame; stdout writes included)"
    }' "$work/$name.counts"
}

echo "chronex on $frames frames ($(nproc) cores, $(uname -r))"
run_case patched 10:00:00:00
run_case right 01:00:00:00
