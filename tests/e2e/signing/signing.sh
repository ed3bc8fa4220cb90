# Code signing for the test scripts, sourced: certificates made per run with
# openssl, programs signed with osslsigncode. The caller sets `keys` to the
# directory that holds the certificates and keys.

make_cert() {  # name subject
  openssl req -x509 -newkey rsa:2048 -nodes -sha256 -days 2 \
    -keyout "$keys/$1.key" -out "$keys/$1.crt" -subj "/CN=$2" \
    -addext "extendedKeyUsage=codeSigning" >/dev/null 2>&1
}

sign() {  # name in out
  osslsigncode sign -certs "$keys/$1.crt" -key "$keys/$1.key" -h sha256 -in "$2" -out "$3" >/dev/null
}
