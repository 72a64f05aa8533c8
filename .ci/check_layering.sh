#!/bin/sh
# Fails when an #include points against the layering:
#   base/ includes only base/; the mid layer (checksum, files, system,
#   logging, storage) never includes media/; nothing in the framework
#   includes the tool folder.
root=${1:-.}
cd "$root" || exit 2
bad=0
report() { echo "layering: $1"; bad=1; }
for f in base/*.h base/*.cpp; do
  grep -n '#include "' "$f" | grep -v '#include "base/' | while read -r l; do
    echo "layering: $f: $l"; done
done | grep . && bad=1
for d in checksum files system logging storage; do
  grep -n '#include "\(media\|tools\)/' $d/*.h $d/*.cpp 2>/dev/null && bad=1
done
grep -n '#include "tools/' base/* checksum/* files/* system/* logging/* \
  storage/* media/* 2>/dev/null && bad=1
[ $bad -eq 0 ] && echo "layering: ok"
exit $bad
