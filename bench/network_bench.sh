#!/usr/bin/env bash
# Benchmark of chronex where sequences live, against the sequential
# yardstick limit_patch (same output, same appended blocks, fewest system
# calls, one frame at a time):
#   1. network storage: latfs, a FUSE file system that passes every
#      operation to a backing folder after a fixed delay (LATFS_US, default
#      300 us), mounted with 64 threads. Wall-clock seconds of one run each,
#      interleaved, in two cases (every frame patched; every frame already
#      right), their ratio, and whether both printed the same bytes and left
#      the same files.
#   2. local disk, warm cache: CPU time (user + system) of both, interleaved,
#      the median of REPS runs each, and their ratio (also that of the
#      fastest runs: a busy host only ever adds time), and the same for
#      call_floor.c, a C program that makes exactly chronex's per-frame
#      system calls and nothing else (the best any program doing chronex's
#      per-frame algorithm can reach on this machine); system calls per frame
#      (strace). All three run on one pinned core (taskset), each after a
#      sync, so that none pays for moving between cores or for the copy's
#      writeback.
# Frames are sparse 12.7 MB DPX files made by gen_sequence.py; every run
# works on a fresh copy. Needs root (the FUSE mount), fuse3, libfuse3-dev,
# gcc, python3; perf (or strace) for the system call counts.
#   bench/network_bench.sh [SHARED_BENCH_DIR] [NET_FRAMES] [LOCAL_FRAMES]
# SHARED_BENCH_DIR holds latfs.c, limit_patch.c and gen_sequence.py
# (default $SHARED_BENCH, else ../shared/bench). Environment: LATFS_US,
# REPS (local runs per tool, default 11), CASES (default "patched right"),
# NET=0 skips the network part, BUILD (default build-bench).
set -euo pipefail
shared="$(cd "${1:-${SHARED_BENCH:-../shared/bench}}" && pwd)"
net_frames="${2:-2000}"
local_frames="${3:-10000}"
latency_us="${LATFS_US:-300}"
reps="${REPS:-11}"
cases="${CASES:-patched right}"
build="${BUILD:-build-bench}"

if [ ! -x "$build/tools/dpx-timecode-patch/chronex" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DLU_TESTS=OFF >/dev/null
  cmake --build "$build" -j 2 --target chronex >/dev/null
fi
chronex="$(cd "$build/tools/dpx-timecode-patch" && pwd)/chronex"
work="$(mktemp -d /tmp/network_bench.XXXXXX)"
mnt="$work/mnt"
cleanup() {
  mountpoint -q "$mnt" 2>/dev/null && fusermount3 -u "$mnt"
  rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$mnt" "$work/bin"
gcc -O2 -o "$work/bin/limit_patch" "$shared/limit_patch.c"
yardstick="$work/bin/limit_patch"
gcc -O2 -o "$work/bin/call_floor" "$(dirname "$0")/call_floor.c"
floor="$work/bin/call_floor"

# CPU seconds (user + system) and wall seconds of one command, its standard
# output into a file: cpu_and_wall OUT CMD...
cpu_and_wall() {
  python3 - "$@" <<'EOF'
import os, resource, subprocess, sys, time
out = open(sys.argv[1], "wb")
before = resource.getrusage(resource.RUSAGE_CHILDREN)
t0 = time.monotonic()
subprocess.run(sys.argv[2:], stdout=out, check=True)
wall = time.monotonic() - t0
after = resource.getrusage(resource.RUSAGE_CHILDREN)
cpu = after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime
print("%.6f %.6f" % (cpu, wall))
EOF
}

# A digest of every file of a folder: name, size and the bytes of its data
# stretches (the holes of the sparse frames are skipped, not read).
digest() {
  python3 - "$1" <<'EOF'
import hashlib, os, sys
h = hashlib.sha256()
folder = sys.argv[1]
for name in sorted(os.listdir(folder)):
    path = os.path.join(folder, name)
    size = os.path.getsize(path)
    h.update(b"%s %d\n" % (name.encode(), size))
    fd = os.open(path, os.O_RDONLY)
    pos = 0
    while pos < size:
        try:
            start = os.lseek(fd, pos, os.SEEK_DATA)
        except OSError:
            break
        end = os.lseek(fd, start, os.SEEK_HOLE)
        h.update(b"@%d" % start)
        h.update(os.pread(fd, end - start, start))
        pos = end
    os.close(fd)
print(h.hexdigest())
EOF
}

# syscalls_per_frame NAME FRAMES CMD...: system calls per frame, in all and
# of the kinds that matter. Counted by the kernel's trace points (perf)
# where possible: strace slows every call down so much that the tool sees
# slow storage and takes its worker pool.
syscalls_per_frame() {
  local name="$1" n="$2"
  shift 2
  local kinds="openat newfstatat newfstat pread64 read write lseek close"
  kinds="$kinds getdents64 futex"
  if perf stat -e raw_syscalls:sys_enter true >/dev/null 2>&1; then
    local events="-e raw_syscalls:sys_enter"
    for k in $kinds; do events="$events -e syscalls:sys_enter_$k"; done
    # shellcheck disable=SC2086
    perf stat -x, $events -o "$work/syscalls.txt" "$@" >/dev/null
    sed -e 's/^\([0-9]*\),.*syscalls:sys_enter_\([a-z0-9]*\),.*/\2 \1/' \
        -e 's/^\([0-9]*\),.*raw_syscalls:sys_enter,.*/total \1/' \
        "$work/syscalls.txt" | grep -E '^[a-z0-9]+ [0-9]+$' >"$work/calls.txt"
  elif command -v strace >/dev/null 2>&1; then
    strace -c -f -o "$work/syscalls.txt" "$@" >/dev/null
    awk '$NF == "total" { print "total", $4 }
         $1 ~ /^[0-9.]+$/ && NF >= 5 { print $NF, $4 }' \
      "$work/syscalls.txt" >"$work/calls.txt"
  else
    return 0
  fi
  awk -v n="$n" -v name="$name" -v kinds="$kinds" '
    { calls[$1] += $2 }
    END {
      line = sprintf("         %-9s %6.2f system calls/frame:", name,
                     calls["total"] / n)
      split(kinds, k, " ")
      for (i = 1; i in k; i++)
        if (calls[k[i]] > 0) line = line sprintf(" %s %.3g", k[i], calls[k[i]] / n)
      print line
    }' "$work/calls.txt"
}

# make_sequence DIR FRAMES CASE: the frames, patched (every header holds
# 00:00:00:00) or right (frame n holds 01:00:00:00 + n at 24 fps).
make_sequence() {
  local extra=()
  [ "$3" = right ] && extra=(--matching --start 01:00:00:00)
  python3 "$shared/gen_sequence.py" "$1" "$2" "${extra[@]}"
}

fresh_copy() {  # fresh_copy FROM TO
  rm -rf "$2"
  cp -a --sparse=always "$1" "$2"
}

run_tool() {  # run_tool TOOL FOLDER OUT: cpu and wall seconds
  cpu_and_wall "$3" "$1" "$2/plate.0000001.dpx" -f 24 -t 01:00:00:00
}

# The local runs: one frame at a time on every side, so all get the same
# single core (the last one), and the disk is quiet when they start.
pin=()
command -v taskset >/dev/null 2>&1 && pin=(taskset -c "$(($(nproc) - 1))")
run_local() {  # run_local TOOL FOLDER OUT: cpu and wall seconds
  sync
  cpu_and_wall "$3" "${pin[@]}" "$1" "$2/plate.0000001.dpx" -f 24 \
    -t 01:00:00:00
}

echo "chronex against the sequential yardstick ($(nproc) cores, $(uname -r))"

if [ "${NET:-1}" != 0 ]; then
  gcc -O2 -o "$work/bin/latfs" "$shared/latfs.c" \
    $(pkg-config --cflags --libs fuse3)
  echo
  echo "network storage: latfs at $latency_us us per operation," \
    "$net_frames frames, seconds (wall)"
  for case in $cases; do
    make_sequence "$work/pristine" "$net_frames" "$case"
    declare -A seconds=() outs=() files=()
    for tool in chronex yardstick; do
      exe="$chronex"
      [ $tool = yardstick ] && exe="$yardstick"
      fresh_copy "$work/pristine" "$work/back"
      LATFS_US="$latency_us" "$work/bin/latfs" "$work/back" "$mnt" \
        -o max_threads=64
      for _ in $(seq 100); do mountpoint -q "$mnt" && break; sleep 0.05; done
      # latfs answers the first lookup of each name one at a time (its
      # library's path table), which a file server does not do. List the
      # folder first, as a client that has seen it before: both tools then
      # start from the same known entries.
      ls -l "$mnt" >/dev/null
      read -r _ wall < <(run_tool "$exe" "$mnt" "$work/$tool.out")
      fusermount3 -u "$mnt"
      seconds[$tool]=$wall
      outs[$tool]="$work/$tool.out"
      files[$tool]=$(digest "$work/back")
    done
    same_out=no; cmp -s "${outs[chronex]}" "${outs[yardstick]}" && same_out=yes
    same_files=no
    [ "${files[chronex]}" = "${files[yardstick]}" ] && same_files=yes
    awk -v c="$case" -v a="${seconds[chronex]}" -v b="${seconds[yardstick]}" \
      -v o="$same_out" -v f="$same_files" 'BEGIN {
      printf "%-8s chronex %7.3f s  yardstick %7.3f s  ratio %.3f" \
        "  same output: %s  same files: %s\n", c, a, b, a / b, o, f }'
    rm -rf "$work/pristine" "$work/back"
    unset seconds outs files
  done
fi

echo
echo "local disk, warm cache: $local_frames frames, CPU seconds (user +" \
  "system), median of $reps interleaved runs each"
for case in $cases; do
  make_sequence "$work/pristine" "$local_frames" "$case"
  # Warm the caches (a patched case's copy is warm from being made).
  run_tool "$chronex" "$work/pristine" /dev/null >/dev/null
  for _ in $(seq "$reps"); do
    for tool in chronex yardstick floor; do
      exe="$chronex"
      [ $tool = yardstick ] && exe="$yardstick"
      [ $tool = floor ] && exe="$floor"
      folder="$work/pristine"
      if [ "$case" = patched ]; then
        fresh_copy "$work/pristine" "$work/copy"
        folder="$work/copy"
      fi
      read -r cpu _ < <(run_local "$exe" "$folder" "$work/$tool.out")
      echo "$tool $cpu"
    done
  done >"$work/cpu.txt"
  same_out=no
  cmp -s "$work/chronex.out" "$work/yardstick.out" &&
    cmp -s "$work/floor.out" "$work/yardstick.out" && same_out=yes
  awk -v c="$case" -v o="$same_out" '
    { v[$1, ++n[$1]] = $2 }
    function median(t,   i, j, x, k, a) {
      k = n[t]
      for (i = 1; i <= k; i++) a[i] = v[t, i]
      for (i = 1; i <= k; i++)
        for (j = i + 1; j <= k; j++)
          if (a[j] < a[i]) { x = a[i]; a[i] = a[j]; a[j] = x }
      return k % 2 ? a[(k + 1) / 2] : (a[k / 2] + a[k / 2 + 1]) / 2
    }
    function least(t,   i, m) {
      m = v[t, 1]
      for (i = 2; i <= n[t]; i++) if (v[t, i] < m) m = v[t, i]
      return m
    }
    END {
      a = median("chronex"); b = median("yardstick")
      printf "%-8s chronex %7.4f s  yardstick %7.4f s  ratio %.3f" \
        "  (fastest runs: %.3f)  same output: %s\n", c, a, b, a / b,
        least("chronex") / least("yardstick"), o
      f = median("floor")
      printf "         call floor %7.4f s  ratio %.3f  (fastest runs: %.3f)\n",
        f, f / b, least("floor") / least("yardstick")
    }' "$work/cpu.txt"
  for tool in chronex yardstick; do
    exe="$chronex"
    [ $tool = yardstick ] && exe="$yardstick"
    fresh_copy "$work/pristine" "$work/copy"
    syscalls_per_frame "$tool" "$local_frames" "$exe" \
      "$work/copy/plate.0000001.dpx" -f 24 -t 01:00:00:00
  done
  rm -rf "$work/pristine" "$work/copy"
done
