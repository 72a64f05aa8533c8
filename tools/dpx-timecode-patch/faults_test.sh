#!/usr/bin/env bash
# Injected I/O faults: no single failing system call may make chronex lie
# about a frame or lose data.
#
#   tools/dpx-timecode-patch/faults_test.sh [BUILD_DIR]   (make faults)
#
# Runs the built chronex on small generated sequences under strace, with one
# system call on one frame's path made to fail: every call the patch run
# makes on that path (taken from a traced run of this very build, so the
# list follows the build: 32-bit names, a size query that is a seek to the
# end one frame at a time and a status query in the pool), each with EIO,
# ENOSPC, EACCES, EINTR once, and a short count for reads and writes. Two
# sequences: 3 frames, the second one faulted, run one frame after the
# other; and 16 frames, the twelfth one faulted, on storage made slow
# (every close 200 us longer, through the preloaded chronex_slow_close) so
# that the run hands the later frames to its worker pool (the table says
# when it did not). Each case checks:
#   - the faulted frame's line: "error reading DPX header" for a failure
#     while reading, "error writing DPX header" while writing (a close that
#     fails after the write is a failed write), the normal line after a
#     retried EINTR, a failed size query (the size is then unknown, the
#     transfers seek for themselves) or a failed close after reading only;
#   - every other frame patched normally, and exit status 0;
#   - every file's original bytes unchanged, followed by nothing or by whole
#     copies of the correctly patched header block.
# Prints the outcome as tables and a closing count. Exit status 0 when every
# case passes, 1 when one fails, 77 when strace is missing or cannot trace
# here (CTest reports that as skipped).
set -uo pipefail

build=${1:-build}
tool_dir="$build/tools/dpx-timecode-patch"
chronex="$tool_dir/chronex"
make_sample="$tool_dir/chronex_make_sample"
slow_close="$tool_dir/libchronex_slow_close.so"
for t in "$chronex" "$make_sample" "$slow_close"; do
  if [ ! -x "$t" ]; then
    echo "faults: missing $t: build first (make faults)" >&2
    exit 1
  fi
done
chronex=$(cd "$(dirname "$chronex")" && pwd)/chronex
make_sample=$(cd "$(dirname "$make_sample")" && pwd)/chronex_make_sample
slow_close=$(cd "$(dirname "$slow_close")" && pwd)/libchronex_slow_close.so

if ! command -v strace >/dev/null 2>&1; then
  echo "faults: SKIPPED: strace is not installed (apt-get install strace)"
  exit 77
fi
if ! strace -qq -o /dev/null true >/dev/null 2>&1; then
  echo "faults: SKIPPED: strace cannot trace processes here (ptrace refused)"
  exit 77
fi

# LeakSanitizer cannot run under a tracer, and the sanitizer runtime need
# not come first when the slow-close library is preloaded; the leak check
# belongs to the sanitizer build's own tests.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
ASAN_OPTIONS="$ASAN_OPTIONS:verify_asan_link_order=0"

work=$(mktemp -d "${TMPDIR:-/tmp}/chronex-faults.XXXXXX") || exit 1
trap 'rm -rf "$work"' EXIT

# fresh DIR: a pristine copy of the sequence in DIR.
fresh() {
  rm -rf "$1"
  cp -a "$work/orig" "$1"
}

# chronex_env ARGS...: runs chronex with ARGS on the scenario's storage.
chronex_env() {
  if [ "$slow" = slow ]; then
    LD_PRELOAD="$slow_close" "$chronex" "$@"
  else
    "$chronex" "$@"
  fi
}

# strace_env OPTIONS...: runs strace with OPTIONS on chronex (the options
# end with chronex's arguments) on the scenario's storage.
strace_env() {
  if [ "$slow" = slow ]; then
    strace -E "LD_PRELOAD=$slow_close" "$@"
  else
    strace "$@"
  fi
}

# prepare COUNT VICTIM_NUMBER fast|slow: makes the sequence, the reference
# run and the list of the victim's calls (globals below).
prepare() {
  local f n
  slow=$3
  frames=()
  for ((n = 1; n <= $1; n++)); do frames+=("$(printf 'f.%04d.dpx' "$n")"); done
  victim=$(printf 'f.%04d.dpx' "$2")
  rm -rf "$work/orig"
  "$make_sample" "$work/orig" -n "$1" -p f -t 10:00:00:00 -f 24 >/dev/null ||
    return 1

  # The reference run: its output, and per frame the correctly patched
  # block.
  fresh "$work/ref"
  if ! chronex_env "$work/ref/${frames[0]}" "${args[@]}" >"$work/ref.out"
  then
    echo "faults: the run without faults failed" >&2
    return 1
  fi
  size0=()
  for f in "${frames[@]}"; do
    size0[$f]=$(stat -c %s "$work/orig/$f")
    tail -c 2048 "$work/ref/$f" >"$work/$f.block"
    if [ "$(stat -c %s "$work/ref/$f")" -ne $((size0[$f] + 2048)) ]; then
      echo "faults: the run without faults did not patch $f" >&2
      return 1
    fi
  done
  normal_line=$(grep "^$victim: " "$work/ref.out")

  # The calls the patch run makes on the victim's path, in order, and the
  # thread that makes them (the program's path adds the exec, whose
  # process is the main thread).
  fresh "$work/trace"
  strace_env -f -qq -o "$work/trace.txt" -P "$work/trace/$victim" \
    -P "$chronex" "$chronex" "$work/trace/${frames[0]}" "${args[@]}" \
    >/dev/null
  local main_pid pids
  main_pid=$(sed -n 's/^\([0-9]*\) *execve(.*/\1/p' "$work/trace.txt")
  calls=()
  while read -r name; do calls+=("$name"); done < <(
    grep -v ' execve(' "$work/trace.txt" |
      sed -n 's/^[0-9]* *\([a-z_0-9]*\)(.*/\1/p')
  pids=$(grep -v ' execve(' "$work/trace.txt" | awk '{print $1}' | sort -u)
  if [ ${#calls[@]} -eq 0 ]; then
    echo "faults: the traced run made no call on $victim" >&2
    return 1
  fi
  # strace counts calls per thread: one thread must make them all.
  if [ "$(echo "$pids" | wc -l)" -ne 1 ]; then
    echo "faults: the calls on $victim came from several threads" >&2
    return 1
  fi
  if [ "$pids" = "$main_pid" ]; then
    where="one frame after the other"
  else
    where="in the worker pool"
  fi
}

# kind NAME: what a call does for the file layer.
kind() {
  case $1 in
    open | openat | openat2) echo open ;;
    # The only seeks left are size queries: the file layer reaches places
    # within a file with positioned transfers.
    *stat* | lseek | _llseek | llseek) echo size ;;
    read | pread64 | readv | preadv | preadv2) echo read ;;
    write | pwrite64 | writev | pwritev | pwritev2) echo write ;;
    close) echo close ;;
    *) echo other ;;
  esac
}

# classify: per call its occurrence number, its side (read until the
# second open, write from there) and whether the header block has already
# gone out.
classify() {
  local i c cur_side="read" written=0 opens=0
  nth=()
  side=()
  after_write=()
  count=()
  for i in "${!calls[@]}"; do
    c=${calls[$i]}
    count[$c]=$((${count[$c]:-0} + 1))
    nth[i]=${count[$c]}
    if [ "$(kind "$c")" = open ]; then
      opens=$((opens + 1))
      [ $opens -ge 2 ] && cur_side="write"
    fi
    side[i]=$cur_side
    after_write[i]=$written
    [ "$(kind "$c")" = write ] && written=1
  done
}

faults=(EIO ENOSPC EACCES EINTR short)

# expected I FAULT: the victim's expected line, or "n/a" where the fault
# does not apply to that call.
expected() {
  local k error="error reading DPX header"
  k=$(kind "${calls[$1]}")
  [ "${side[$1]}" = write ] && error="error writing DPX header"
  if [ "$2" = short ]; then
    case $k in
      read | write) echo "$error" ;;
      *) echo n/a ;;
    esac
    return
  fi
  case $k in
    open | read | write)
      if [ "$2" = EINTR ]; then echo "$normal_line"; else echo "$error"; fi ;;
    size) echo "$normal_line" ;;
    close)
      if [ "${side[$1]}" = write ]; then echo "$error"; else
        echo "$normal_line"; fi ;;
    *) echo "unclassified call ${calls[$1]}" ;;
  esac
}

# inject_rule I FAULT
inject_rule() {
  local c=${calls[$1]} n=${nth[$1]}
  case $2 in
    EINTR) echo "$c:error=EINTR:when=$n" ;;
    short)
      if [ "$(kind "$c")" = read ]; then echo "$c:retval=100:when=$n"
      else echo "$c:retval=1000:when=$n"; fi ;;
    *) echo "$c:error=$2:when=$n" ;;
  esac
}

# check_files DIR WANT_VICTIM_BLOCKS: original bytes intact everywhere;
# other frames carry one patched block, the victim the given number.
check_files() {
  local dir=$1 f want size extra
  for f in "${frames[@]}"; do
    want=1
    [ "$f" = "$victim" ] && want=$2
    size=$(stat -c %s "$dir/$f")
    extra=$((size - size0[$f]))
    if ! cmp -s -n "${size0[$f]}" "$dir/$f" "$work/orig/$f"; then
      echo "$f: original bytes changed"
      return 1
    fi
    if [ $extra -ne $((want * 2048)) ]; then
      echo "$f: grew by $extra bytes, expected $((want * 2048))"
      return 1
    fi
    if [ "$want" -eq 1 ] && ! tail -c 2048 "$dir/$f" |
      cmp -s - "$work/$f.block"; then
      echo "$f: the appended block is not the patched header"
      return 1
    fi
  done
  return 0
}

short_word() {
  case $1 in
    "error reading DPX header") echo "read error" ;;
    "error writing DPX header") echo "write error" ;;
    "$normal_line") echo "patched" ;;
    *) echo "$1" ;;
  esac
}

passed=0
failed=0
declare -A size0 count
declare -a frames calls nth side after_write
args=(-f 24 -t 01:00:00:00)

# run_matrix: every call with every fault; adds to passed and failed and
# prints the table.
run_matrix() {
  local i fault want rule dir status got problem want_text blocks row table
  table="| call on the frame | side | EIO | ENOSPC | EACCES | EINTR once | short count |
|---|---|---|---|---|---|---|"
  for i in "${!calls[@]}"; do
    row="| ${calls[$i]} #${nth[$i]} | ${side[$i]} |"
    for fault in "${faults[@]}"; do
      want=$(expected "$i" "$fault")
      if [ "$want" = n/a ]; then
        row="$row n/a |"
        continue
      fi
      rule=$(inject_rule "$i" "$fault")
      dir="$work/case"
      fresh "$dir"
      strace_env -f -qq -o /dev/null -P "$dir/$victim" -e inject="$rule" \
        "$chronex" "$dir/${frames[0]}" "${args[@]}" >"$work/case.out" \
        2>"$work/case.err"
      status=$?
      got=$(grep "^$victim: " "$work/case.out")
      got=${got#"$victim: "}
      problem=""
      # The wanted output: the reference with the victim's line replaced.
      want_text=${want#"$victim: "}
      if [ $status -ne 0 ]; then
        problem="exit status $status"
      elif ! awk -v v="$victim: " -v w="$want_text" \
        'index($0, v) == 1 { $0 = v w } { print }' "$work/ref.out" |
        cmp -s - "$work/case.out"; then
        problem="output differs: $victim: $got"
      else
        blocks=1
        if [ "$want" != "$normal_line" ]; then
          # A failed frame carries its block only when the fault came after
          # the write had gone out (a failing close).
          blocks=${after_write[$i]}
        fi
        problem=$(check_files "$dir" "$blocks")
      fi
      if [ -z "$problem" ]; then
        passed=$((passed + 1))
        row="$row $(short_word "$want") |"
      else
        failed=$((failed + 1))
        row="$row FAILED |"
        echo "FAILED: inject=$rule: want \"$(short_word "$want")\": $problem"
        sed 's/^/  stderr: /' "$work/case.err" | head -5
      fi
    done
    table="$table
$row"
  done
  echo
  echo "${#frames[@]} frames, $victim faulted, run $where:"
  echo
  echo "$table"
}

echo "Injected faults: the faulted frame's line, other frames patched"
echo "normally, exit 0, original bytes kept, only whole patched blocks"
echo "appended."
for scenario in "3 2 fast" "16 12 slow"; do
  # shellcheck disable=SC2086
  prepare $scenario || exit 1
  classify
  run_matrix
done
echo
echo "faults: $passed passed, $failed failed"
[ $failed -eq 0 ]
