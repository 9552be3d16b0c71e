#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# OpenSSL through libp11's engine, GnuTLS through p11-kit, and OpenSSH use the token.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
needs pkcs11-tool p11tool certtool ssh-keygen
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

# GnuTLS generates, signs and requests.
tool() { p11tool --provider "$module" "$@"; }
expect 'Generating an EC/ECDSA key' tool --login --generate-ecc --curve secp384r1 --id 02 --label two \
  --outfile two.pub "$url"
expect 'Verifying against public key in the token... ok' tool --login --test-sign "$url;object=two;type=private"
refused 'No matching objects' tool --list-all-privkeys "$url;object=two"
echo 'cn = "device"' >template
expect '' certtool --provider "$module" --generate-request --load-privkey "$key" \
  --load-pubkey "$url;object=one;type=public" --template template --outfile request.pem
expect 'verify OK' openssl req -in request.pem -noout -verify

# OpenSSH reads the public key.
ssh-keygen -D "$module" -e 2>/dev/null | sed -n 1p >one
ssh-keygen -e -m PKCS8 -f one | cmp - one.pub
