#!/usr/bin/env bash
# same_output.sh BUILD_A BUILD_B: runs the chronex of both builds (say the
# x86-64 and the 32-bit x86 one) on the same generated sequences and fails
# unless both print the same bytes, exit the same way and leave the same
# files. The sequences come from BUILD_A's sample generator.
set -euo pipefail
a=$1
b=$2
rel=tools/dpx-timecode-patch
for t in "$a/$rel/chronex" "$b/$rel/chronex" "$a/$rel/chronex_make_sample"; do
  [ -x "$t" ] || { echo "same_output: missing $t: build first" >&2; exit 1; }
done
work=$(mktemp -d "${TMPDIR:-/tmp}/chronex-same.XXXXXX")
trap 'rm -rf "$work"' EXIT
make_sample=$(cd "$a/$rel" && pwd)/chronex_make_sample

# A sequence with a damaged frame, a frame that is no DPX file, a short one
# and a hidden decoy.
"$make_sample" "$work/seq" -n 12 -p plate -t 10:00:00:00 -f 24 >/dev/null
head -c 1000 "$work/seq/plate.0003.dpx" >"$work/seq/plate.0003.tmp"
mv "$work/seq/plate.0003.tmp" "$work/seq/plate.0003.dpx"
printf 'not a picture' | dd of="$work/seq/plate.0005.dpx" conv=notrunc \
  status=none
cp "$work/seq/plate.0001.dpx" "$work/seq/.plate.0013.dpx"

# Each case: the arguments, with @ for the sequence folder.
cases=(
  "@/plate.0001.dpx -f 25 -t 01:00:00:00"
  "@/plate.0007.dpx"
  "@/plate.#.dpx -f 24 -t 10:00:00:00"
  "@/plate.0001.dpx -f 29.97 -t 00:59:59:29"
  "@/plate.0001.dpx -f 30 -t 23:59:59:25"
  "@/plate.0001.dpx -f 24 -t 24:00:00:00"
  "@/plate.0001.dpx -x"
  "@/missing.0001.dpx"
)
fail=0
n=0
for c in "${cases[@]}"; do
  n=$((n + 1))
  for side in a b; do
    rm -rf "${work:?}/$side"
    cp -a "$work/seq" "$work/$side"
    bin=$(cd "$([ $side = a ] && echo "$a" || echo "$b")/$rel" &&
      pwd)/chronex
    read -r -a args <<<"${c//@/$work/$side}"
    set +e
    "$bin" "${args[@]}" |
      sed "s#$work/$side#@#g" >"$work/$side.out"
    echo "exit ${PIPESTATUS[0]}" >>"$work/$side.out"
    set -e
    (cd "$work/$side" && find . -type f -print0 | sort -z |
      xargs -0 md5sum) >"$work/$side.files"
  done
  if ! cmp -s "$work/a.out" "$work/b.out" ||
    ! cmp -s "$work/a.files" "$work/b.files"; then
    echo "same_output: differs for: chronex ${c//@/SEQ}"
    diff "$work/a.out" "$work/b.out" | head -20 || true
    diff "$work/a.files" "$work/b.files" | head -20 || true
    fail=$((fail + 1))
  fi
done
echo "same_output: $a and $b: $((n - fail)) passed, $fail failed"
[ $fail -eq 0 ]
