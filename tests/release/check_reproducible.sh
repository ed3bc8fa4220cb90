#!/bin/sh
# Builds the release preset's Orvane.exe twice, from two copies of the
# checkout at different places, one after the other and in different time
# zones, and requires the same bytes: no path, time or zone in the file. Also
# reads back what the release checks: no link time, a consistent checksum.
#
#   check_reproducible.sh <checkout> <work-dir>
set -eu

if [ $# -ne 2 ]; then
  echo "usage: check_reproducible.sh <checkout> <work-dir>" >&2
  exit 2
fi
src=$(cd "$1" && pwd)
work=$2
rm -rf "$work"
mkdir -p "$work"
work=$(cd "$work" && pwd)

one="$work/a/checkout"
two="$work/another-place/deeper/orvane-src"
build() {  # dir TZ
  mkdir -p "$1"
  tar -C "$src" --exclude=./build --exclude=./.git --exclude=./out -cf - . | tar -C "$1" -xf -
  if ! (cd "$1" && TZ=$2 cmake --preset release >"$1.configure.log" 2>&1 &&
        TZ=$2 nice cmake --build --preset release >"$1.build.log" 2>&1); then
    cat "$1.configure.log" "$1.build.log" 2>/dev/null
    echo "check_reproducible: the build in $1 failed" >&2
    exit 1
  fi
}
build "$one" UTC0
build "$two" XYZ-14

a="$one/build/release/Orvane.exe"
b="$two/build/release/Orvane.exe"
if [ "$(stat -c %Y "$a")" = "$(stat -c %Y "$b")" ]; then
  echo "check_reproducible: both links fell in the same second; a time stamp would go unnoticed" >&2
  exit 1
fi
status=0
if ! cmp "$a" "$b"; then
  "$src/scripts/pe-info" "$a" >"$work/a.info"
  "$src/scripts/pe-info" "$b" >"$work/b.info"
  diff "$work/a.info" "$work/b.info" || true
  status=1
fi
for dir in "$one" "$two" "$work"; do
  for file in "$a" "$b"; do
    if grep -q -a -F "$dir" "$file" || strings -a -el "$file" | grep -q -F "$dir"; then
      echo "check_reproducible: $file holds the path $dir" >&2
      status=1
    fi
  done
done
info=$("$src/scripts/pe-info" "$a")
for want in pe.timestamp=0x00000000 export.timestamp=0x00000000; do
  echo "$info" | grep -q -x "$want" || { echo "check_reproducible: $want expected:" >&2; echo "$info" >&2; status=1; }
done
checksum=$(echo "$info" | sed -n 's/^pe.checksum=//p')
echo "$info" | grep -q -x "pe.checksum_computed=$checksum" || { echo "check_reproducible: checksum mismatch" >&2; status=1; }
[ $status = 0 ] && echo "reproducible: $(sha256sum "$a" | cut -d' ' -f1)"
exit $status
