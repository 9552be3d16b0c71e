#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# OpenSC's pkcs11-tool takes a token from an empty folder to signatures that openssl verifies.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
needs pkcs11-tool p11tool

tool() { pkcs11-tool --module "$module" "$@"; }
user() { tool --login --pin "$pin" "$@"; }

mkdir -m 700 token
expect 'uninitialized' tool -L
expect 'successfully initialized' tool --init-token --label desk --so-pin "$officer_pin"
expect 'successfully initialized' tool --init-pin --login --so-pin "$officer_pin" --new-pin 1111
expect 'successfully changed' tool --change-pin --login --pin 1111 --new-pin "$pin"
expect 'ECDSA-SHA256, keySize={256,521}, sign, verify' tool -M

number=0
for curve in prime256v1:ECDSA-SHA256:sha256 secp384r1:ECDSA-SHA384:sha384 secp521r1:ECDSA-SHA512:sha512; do
  IFS=: read -r name mechanism digest <<<"$curve"
  id=0$((++number))
  expect 'sensitive, always sensitive, never extractable, local' \
    user --keypairgen --key-type "EC:$name" --id $id --label "$name"
  # This tool reads public keys of P-256 alone, also from other modules.
  p11tool --provider "$module" --export "pkcs11:token=desk;object=$name;type=public" >key.pub 2>/dev/null
  expect "$mechanism" user --sign -m "$mechanism" --id $id -i message -o signature --signature-format openssl
  expect 'Verified OK' openssl dgst "-$digest" -verify key.pub -signature signature message
  expect 'Signature is valid' user --verify -m "$mechanism" --id $id -i message --signature-file signature \
    --signature-format openssl
done

openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout key.pem \
  -subj /CN=other -outform DER -out certificate 2>/dev/null
expect 'Certificate Object' user --write-object certificate --type cert --id 09 --label other
expect '' tool --read-object --type cert --id 09 -o back
cmp certificate back
openssl pkey -in key.pem -outform DER -out key.der
expect 'Private Key Object' user --write-object key.der --type privkey --id 09 --label other
expect '' user --sign -m ECDSA-SHA256 --id 09 -i message -o signature --signature-format openssl
openssl x509 -inform DER -in certificate -noout -pubkey -out other.pub
expect 'Verified OK' openssl dgst -sha256 -verify other.pub -signature signature message
expect '' user --write-object message --type data --label note
expect '' user --read-object --type data --label note -o back
cmp message back

expect '' user --delete-object --type privkey --id 09
expect 'No errors' user --test
