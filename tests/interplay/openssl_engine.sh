#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# The openssl program signs and requests through libp11's engine; without the engine it verifies.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
make_token
make_key

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
key='pkcs11:token=desk;object=one;type=private'
with_engine() { OPENSSL_CONF=$folder/engine.cnf openssl "$1" -engine pkcs11 -keyform engine "${@:2}"; }

# The engine serves the whole process: the module's own cryptography must not end up in it.
expect 'Engine "pkcs11" set' with_engine dgst -sha256 -sign "$key" -out signature message
expect 'Verified OK' openssl dgst -sha256 -verify one.pub -signature signature message
expect 'Engine "pkcs11" set' with_engine req -new -key "$key" -subj /CN=device -out request.pem
expect 'verify OK' openssl req -in request.pem -noout -verify
openssl req -in request.pem -noout -pubkey | cmp - one.pub
expect 'Engine "pkcs11" set' with_engine req -x509 -new -key "$key" -subj /CN=device -out device.pem
expect 'OK' openssl verify -CAfile device.pem device.pem
refused 'private key was not found' with_engine dgst -sha256 -sign 'pkcs11:token=desk;object=two;type=private' message
