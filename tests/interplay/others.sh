#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# OpenSSL through libp11's engine, GnuTLS through p11-kit, and OpenSSH use the token.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
needs pkcs11-tool p11tool ssh-keygen
expect "made token 'desk'" "$tee_token" --pin-hex 34333231 --so-pin-hex 3837363534333231 init --label desk
expect 'Key pair generated' pkcs11-tool --module "$module" --login --pin "$pin" --keypairgen \
  --key-type EC:prime256v1 --id 01 --label one
pkcs11-tool --module "$module" --read-object --type pubkey --id 01 2>/dev/null |
  openssl pkey -pubin -inform DER -out one.pub
url='pkcs11:token=desk'

# The engine signs and requests; without it, OpenSSL verifies.
export PKCS11_MODULE_PATH=$module
openssl engine pkcs11 &>/dev/null || skip "OpenSSL has no engine pkcs11"
key="$url;object=one;type=private;pin-value=$pin"
with_engine() { openssl "$1" -engine pkcs11 -keyform engine "${@:2}"; }

# The engine serves the whole process: the module's own cryptography must not end up in it.
expect 'Engine "pkcs11" set' with_engine dgst -sha256 -sign "$key" -out signature message
expect 'Verified OK' openssl dgst -sha256 -verify one.pub -signature signature message
expect 'Engine "pkcs11" set' with_engine req -new -key "$key" -subj /CN=device -out request.pem
expect 'verify OK' openssl req -in request.pem -noout -verify
openssl req -in request.pem -noout -pubkey | cmp - one.pub

# GnuTLS generates and signs.
tool() { p11tool --provider "$module" "$@"; }
expect 'Generating an EC/ECDSA key' tool --login --generate-ecc --curve secp384r1 --id 02 --label two \
  --outfile two.pub "$url"
expect 'Verifying against public key in the token... ok' tool --login --test-sign "$url;object=two;type=private"

# OpenSSH reads the public key.
ssh-keygen -D "$module" -e 2>/dev/null | sed -n 1p >one
ssh-keygen -e -m PKCS8 -f one | cmp - one.pub
