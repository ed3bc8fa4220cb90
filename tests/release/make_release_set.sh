#!/bin/sh
# Takes built launchers down the release road (scripts/release-package) with
# a code-signing certificate made for this run, checks what the road answers,
# and leaves the results for the tests under Wine:
#
#   make_release_set.sh <out-dir> <scripts-dir> <launcher.exe> <version> <old-launcher.exe> <probe.exe>
#
# <old-launcher.exe> is a launcher built with a version below 6.1.0. Writes:
#   pem/Orvane.exe, p12/Orvane.exe    the release, signed by "Arvenna Systems
#                                     Co., Ltd." from a PEM pair / a PKCS#12 file
#   unsigned/Orvane.exe               the release without a certificate
#   old-version.exe                   <old-launcher.exe> as built
#   probe-own.exe, probe-foreign.exe   children
# No key or certificate stays behind.
set -eu

if [ $# -ne 6 ]; then
  echo "usage: make_release_set.sh <out-dir> <scripts-dir> <launcher.exe> <version> <old-launcher.exe> <probe.exe>" >&2
  exit 2
fi
out=$1
scripts=$2
launcher=$3
version=$4
old=$5
probe=$6

rm -rf "$out"
mkdir -p "$out/keys"
keys="$out/keys"

. "$(dirname "$0")/../e2e/signing/signing.sh"
make_cert own "Arvenna Systems Co., Ltd."
make_cert foreign "Kestrel Foreign Software Ltd."
openssl pkcs12 -export -in "$keys/own.crt" -inkey "$keys/own.key" -passout pass:release-pw -out "$keys/own.p12"

failures=0
# expect <row> <0|fail> <text the output must hold> [VAR=value ...] -- <exe> <version> <out-subdir>
expect() {
  row=$1 want=$2 text=$3
  shift 3
  set +e
  output=$(
    unset ORVANE_SIGN_CERT ORVANE_SIGN_KEY ORVANE_SIGN_PKCS12 ORVANE_SIGN_PASSWORD ORVANE_SIGN_CAFILE \
      ORVANE_SIGN_TIMESTAMP_URL
    while [ "$1" != -- ]; do export "$1"; shift; done
    shift
    "$scripts/release-package" "$1" "$out/$3" "$2" 2>&1)
  status=$?
  set -e
  if { [ "$want" = 0 ] && [ $status != 0 ]; } || { [ "$want" = fail ] && [ $status = 0 ]; }; then
    echo "release set: $row: status $status, expected $want" >&2
    failures=$((failures + 1))
    printf '%s\n' "$output" >&2
  elif ! printf '%s\n' "$output" | grep -q -F "$text"; then
    echo "release set: $row: no \"$text\" in the output" >&2
    failures=$((failures + 1))
    printf '%s\n' "$output" >&2
  fi
}

expect "PEM pair" 0 "signed   /CN=Arvenna Systems Co., Ltd. (SHA-256, verified" \
  "ORVANE_SIGN_CERT=$keys/own.crt" "ORVANE_SIGN_KEY=$keys/own.key" -- "$launcher" "$version" pem
expect "PKCS#12 with password" 0 "signed   /CN=Arvenna Systems Co., Ltd." \
  "ORVANE_SIGN_PKCS12=$keys/own.p12" "ORVANE_SIGN_PASSWORD=release-pw" -- "$launcher" "$version" p12
expect "no certificate" 0 "release: UNSIGNED: " -- "$launcher" "$version" unsigned
expect "wrong PKCS#12 password" fail "cannot read the certificates" \
  "ORVANE_SIGN_PKCS12=$keys/own.p12" "ORVANE_SIGN_PASSWORD=wrong" -- "$launcher" "$version" bad-password
expect "another authority" fail "does not verify against" \
  "ORVANE_SIGN_CERT=$keys/own.crt" "ORVANE_SIGN_KEY=$keys/own.key" "ORVANE_SIGN_CAFILE=$keys/foreign.crt" \
  -- "$launcher" "$version" bad-ca
expect "version not as asked" fail "ProductVersion is '$version', expected '$version.1'" \
  -- "$launcher" "$version.1" bad-version
expect "version below 6.1.0" fail "below 6.1.0" -- "$old" 6.0.9 old
[ $failures = 0 ] || exit 1

# The release is the build and a signature.
for dir in pem p12 unsigned; do
  (cd "$out/$dir" && sha256sum --quiet -c Orvane.exe.sha256)
done
cmp -s "$out/unsigned/Orvane.exe" "$launcher" || { echo "release set: the unsigned release differs from the build" >&2; exit 1; }

cp "$old" "$out/old-version.exe"
sign own "$probe" "$out/probe-own.exe"
sign foreign "$probe" "$out/probe-foreign.exe"
rm -rf "$keys" "$out/bad-password" "$out/bad-ca" "$out/bad-version" "$out/old"
echo "release set ready in $out"
