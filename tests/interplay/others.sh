#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# OpenSSL through libp11's engine, GnuTLS, OpenSSH and p11-kit use the token.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
needs pkcs11-tool p11tool certtool ssh-agent p11-kit
make_token
make_key

url='pkcs11:token=desk'

# The engine signs and requests; without it, OpenSSL verifies.
cat >engine.cnf <<END
openssl_conf = all
[all]
engines = engines
[engines]
pkcs11 = pkcs11
[pkcs11]
MODULE_PATH = $module
PIN = $pin
[req]
distinguished_name = name
[name]
END
key="$url;object=one;type=private"
OPENSSL_CONF=$folder/engine.cnf openssl engine pkcs11 &>/dev/null || skip "OpenSSL has no engine pkcs11"
with_engine() { OPENSSL_CONF=$folder/engine.cnf openssl "$1" -engine pkcs11 -keyform engine "${@:2}"; }

# The engine serves the whole process: the module's own cryptography must not end up in it.
expect 'Engine "pkcs11" set' with_engine dgst -sha256 -sign "$key" -out signature message
expect 'Verified OK' openssl dgst -sha256 -verify one.pub -signature signature message
expect 'Engine "pkcs11" set' with_engine req -new -key "$key" -subj /CN=device -out request.pem
expect 'verify OK' openssl req -in request.pem -noout -verify
openssl req -in request.pem -noout -pubkey | cmp - one.pub
expect 'Engine "pkcs11" set' with_engine req -x509 -new -key "$key" -subj /CN=device -out device.pem
expect 'OK' openssl verify -CAfile device.pem device.pem
refused 'private key was not found' with_engine dgst -sha256 -sign "$url;object=two;type=private" message

# GnuTLS generates, signs, requests, stores a certificate and deletes it.
tool() { p11tool --provider "$module" "$@"; }
expect 'Generating an EC/ECDSA key' tool --login --generate-ecc --curve secp384r1 --id 02 --label two \
  --outfile two.pub "$url"
expect 'Verifying against public key in the token... ok' tool --login --test-sign "$url;object=two;type=private"
refused 'No matching objects' tool --list-all-privkeys "$url;object=two"
echo 'cn = "device"' >template
expect '' certtool --provider "$module" --generate-request --load-privkey "$key" \
  --load-pubkey "$url;object=one;type=public" --template template --outfile request.pem
expect 'verify OK' openssl req -in request.pem -noout -verify
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout ca.key -out ca.pem -subj /CN=ca 2>/dev/null
expect '' tool --login --write --load-certificate ca.pem --id 01 --label one "$url"
tool --export "$url;object=one;type=cert" 2>/dev/null | openssl x509 | cmp - ca.pem
expect '1 objects deleted' tool --batch --login --delete "$url;object=one;type=cert"

# OpenSSH's agent signs.
ssh-keygen -D "$module" -e 2>/dev/null | sed -n 1p >one
ssh-keygen -e -m PKCS8 -f one | cmp - one.pub
printf '#!/bin/sh\necho %s\n' "$pin" >askpass
chmod +x askpass
export SSH_ASKPASS=$folder/askpass SSH_ASKPASS_REQUIRE=force
in_agent() {
  expect 'Card added' ssh-add -s "$module"
  expect 'Write signature' ssh-keygen -Y sign -f one -n file message
  echo "device $(<one)" >allowed
  ssh-keygen -Y verify -f allowed -I device -n file -s message.sig <message >/dev/null 2>&1 || die 'ssh verifies'
}
export -f die expect in_agent
export module
ssh-agent -a "$folder/agent" -P "$module" "$BASH" -euo pipefail -O inherit_errexit -c in_agent

# p11-kit finds the module in a user's configuration. It does not read root's: another user asks.
as_user=()
mkdir -p .config/pkcs11/modules
if ((EUID == 0)); then
  [[ $folder == /tmp/* ]] || exit 0 # other folders may be closed to others
  as_user=(setpriv --reuid=65534 --regid=65534 --clear-groups)
  cp "$module" module.so
  module=$folder/module.so
fi
echo "module: $module" >.config/pkcs11/modules/tee.module
((EUID != 0)) || chown -R 65534:65534 "$folder"
expect 'token: desk' "${as_user[@]}" p11-kit list-modules
