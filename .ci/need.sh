#!/usr/bin/env bash
# need.sh PACKAGE...: installs those of the Debian packages that are missing
# (apt-get, through sudo when not root). Prints nothing when all are there.
set -euo pipefail
missing=()
for p in "$@"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO=sudo
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
