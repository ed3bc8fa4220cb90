#!/bin/sh
# Makes the signed programs of the broker's signer matrix, fresh for each
# test run: a self-made certificate per subject (made here with openssl; no
# key or certificate is kept in the repository), and copies of the probe and
# of the launcher signed with osslsigncode.
#
#   make_signed_set.sh <out-dir> <probe.exe> <launcher.exe>
#
# Writes into <out-dir>:
#   probe-corvel.exe, probe-vorn.exe, probe-foreign.exe   signed children
#   probe-unsigned.exe                                    the probe as built
#   probe-tampered.exe     probe-corvel.exe with one byte changed after signing
#   launcher-corvel.exe, launcher-unsigned.exe, launcher-tampered.exe
set -eu

if [ $# -ne 3 ]; then
  echo "usage: make_signed_set.sh <out-dir> <probe.exe> <launcher.exe>" >&2
  exit 2
fi
out=$1
probe=$2
launcher=$3

rm -rf "$out"
mkdir -p "$out/keys"

keys="$out/keys"
. "$(dirname "$0")/signing.sh"

# Changes one byte of the DOS stub's text: covered by the signature's digest,
# never executed.
tamper() {  # file
  offset=$(grep -obUa "This program" "$1" | head -n 1 | cut -d: -f1)
  [ -n "$offset" ] || { echo "make_signed_set: no DOS stub text in $1" >&2; exit 1; }
  printf 't' | dd of="$1" bs=1 seek="$offset" conv=notrunc 2>/dev/null
}

make_cert corvel "Corvel Data Co., Ltd."
make_cert vorn "Vorn Technologies Pte. Ltd."
make_cert foreign "Kestrel Foreign Software Ltd."

cp "$probe" "$out/probe-unsigned.exe"
sign corvel "$probe" "$out/probe-corvel.exe"
sign vorn "$probe" "$out/probe-vorn.exe"
sign foreign "$probe" "$out/probe-foreign.exe"
cp "$out/probe-corvel.exe" "$out/probe-tampered.exe"
tamper "$out/probe-tampered.exe"

cp "$launcher" "$out/launcher-unsigned.exe"
sign corvel "$launcher" "$out/launcher-corvel.exe"
cp "$out/launcher-corvel.exe" "$out/launcher-tampered.exe"
tamper "$out/launcher-tampered.exe"

rm -rf "$out/keys"
echo "signed set ready in $out"
