#!/bin/sh
# Builds the Debian package of a build with CPack into a temporary folder,
# checks its name, fields and contents, unpacks it into a temporary root
# with dpkg -x and runs the unpacked chronex on a generated sequence.
#   package_test.sh BUILD_DIR VERSION MAKE_SAMPLE
set -eu
build=$1 version=$2 make_sample=$3
tmp=$(mktemp -d "${TMPDIR:-/tmp}/chronex_package_test.XXXXXX")
trap 'rm -rf "$tmp"' EXIT

# Runs a command quietly; shows its output only when it fails.
quiet() {
  "$@" >"$tmp/log" 2>&1 || { cat "$tmp/log"; echo "failed: $*"; exit 1; }
}
fail() { echo "package: $*"; exit 1; }

quiet cpack -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/out"
deb=$tmp/out/chronex_${version}_$(dpkg --print-architecture).deb
[ -f "$deb" ] || fail "no $(basename "$deb"); made: $(ls "$tmp/out")"

field() { dpkg-deb -f "$deb" "$1"; }
[ "$(field Package)" = chronex ] || fail "Package: $(field Package)"
[ "$(field Version)" = "$version" ] || fail "Version: $(field Version)"
[ "$(field Section)" = video ] || fail "Section: $(field Section)"
[ -n "$(field Maintainer)" ] || fail "no Maintainer"
[ -n "$(field Description)" ] || fail "no Description"
# Computed by dpkg-shlibdeps: the C and C++ runtimes at least.
case $(field Depends) in
  *libc6*libstdc++6* | *libstdc++6*libc6*) ;;
  *) fail "Depends: $(field Depends)" ;;
esac

# Exactly the program and its manual page, nothing of the framework.
files=$(dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { print $NF }')
[ "$files" = "./usr/bin/chronex
./usr/share/man/man1/chronex.1.gz" ] || fail "contents:
$files"

dpkg -x "$deb" "$tmp/root"
zcat "$tmp/root/usr/share/man/man1/chronex.1.gz" | grep -q '^\.TH CHRONEX 1' ||
  fail "the manual page is not chronex(1)"
quiet "$make_sample" "$tmp/shot" -n 3 -t 10:00:00:00 -f 24
out=$("$tmp/root/usr/bin/chronex" "$tmp/shot/plate.0001.dpx" -f 24 \
  -t 23:59:59:23) || fail "chronex exit status $?"
expected="VELOMA DPX Time Code Patching Utility $version

plate.0001.dpx: 10:00:00:00 -> 23:59:59:23
plate.0002.dpx: 10:00:00:01 -> 00:00:00:00
plate.0003.dpx: 10:00:00:02 -> 00:00:00:01"
[ "$out" = "$expected" ] || fail "the unpacked chronex printed:
$out"
echo "package: $(basename "$deb") unpacks and runs"
