#!/bin/sh
# Installs a build into a temporary prefix as `make install PREFIX=...` does,
# checks the tree (program, manual page, every framework header) and builds
# tests/consumer on the installed framework twice - with CMake's
# find_package(lu) and with a plain compiler line from pkg-config - then runs
# both on generated DPX frames.
#   install_test.sh SOURCE_DIR BUILD_DIR CXX "CXXFLAGS" MAKE_SAMPLE
set -eu
src=$1 build=$2 cxx=$3 flags=$4 make_sample=$5
tmp=$(mktemp -d "${TMPDIR:-/tmp}/lu_install_test.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix

# Runs a command quietly; shows its output only when it fails.
quiet() {
  "$@" >"$tmp/log" 2>&1 || { cat "$tmp/log"; echo "failed: $*"; exit 1; }
}

quiet cmake --install "$build" --prefix "$prefix"

missing=0
for f in bin/chronex share/man/man1/chronex.1 lib*/liblu.a lib*/pkgconfig/lu.pc \
         lib*/cmake/lu/luConfig.cmake lib*/cmake/lu/luConfigVersion.cmake; do
  # shellcheck disable=SC2086 # lib* may be lib or lib/<multiarch>
  ls "$prefix"/$f >/dev/null 2>&1 || { echo "not installed: $f"; missing=1; }
done
for d in base checksum files system storage logging media; do
  for h in "$src/$d"/*.h; do
    case $h in *_test.h) continue ;; esac
    [ -f "$prefix/include/lu/$d/${h##*/}" ] ||
      { echo "not installed: include/lu/$d/${h##*/}"; missing=1; }
  done
done
[ $missing -eq 0 ]

quiet "$make_sample" "$tmp/shot" -n 2 -t 01:02:03:24 -f 25
expected='plate.0001.dpx: 01:02:03:24
plate.0002.dpx: 01:02:04:00'

# 1. CMake: find_package(lu) through CMAKE_PREFIX_PATH.
quiet cmake -S "$src/tests/consumer" -B "$tmp/by_cmake" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="$flags"
quiet cmake --build "$tmp/by_cmake"

# 2. pkg-config: one compiler line.
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name lu.pc)")
export PKG_CONFIG_PATH
pc=$(pkg-config --cflags --libs lu)
# shellcheck disable=SC2086 # flag lists are split on purpose
quiet "$cxx" $flags -o "$tmp/by_pkg_config" \
  "$src/tests/consumer/read_timecode.cpp" $pc

status=0
for consumer in "$tmp/by_cmake/read_timecode" "$tmp/by_pkg_config"; do
  out=$(cd "$tmp/shot" && "$consumer" plate.0001.dpx plate.0002.dpx) || true
  if [ "$out" != "$expected" ]; then
    printf '%s printed:\n%s\nexpected:\n%s\n' "${consumer##*/}" "$out" \
      "$expected"
    status=1
  fi
done
[ $status -eq 0 ] && echo "install: both consumers read the timecodes"
exit $status
