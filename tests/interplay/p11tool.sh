#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# GnuTLS's p11tool and certtool list, generate, export, sign and request.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
make_token
make_key

url='pkcs11:token=desk'
tool() { p11tool --provider "$module" "$@"; }

expect 'Label: desk' tool --list-tokens
expect 'Generating an EC/ECDSA key' tool --login --generate-ecc --curve secp384r1 --id 02 --label two \
  --outfile two.pub "$url"
expect 'Private key (EC/ECDSA-SECP384R1)' tool --login --list-all "$url;object=two"
expect 'CKA_NEVER_EXTRACTABLE; CKA_SENSITIVE' tool --login --list-all "$url;object=two"
refused 'No matching objects' tool --list-all-privkeys "$url;object=two"
tool --export-pubkey "$url;object=one;type=private" --login 2>/dev/null | openssl pkey -pubin | cmp - one.pub
tool --export "$url;object=two;type=public" 2>/dev/null | openssl pkey -pubin >exported
cmp exported <(openssl pkey -pubin -in two.pub)
expect 'Verifying against public key in the token... ok' \
  tool --login --test-sign "$url;object=two;type=private"

echo 'cn = "device"' >template
expect '' certtool --provider "$module" --generate-request --load-privkey "$url;object=one;type=private" \
  --load-pubkey "$url;object=one;type=public" --template template --outfile request.pem
expect 'verify OK' openssl req -in request.pem -noout -verify
openssl req -in request.pem -noout -pubkey | cmp - one.pub

expect '' certtool --generate-privkey --key-type ecdsa --outfile ca.key
printf 'cn = "ca"\nca\ncert_signing_key\n' >template
expect '' certtool --generate-self-signed --load-privkey ca.key --template template --outfile ca.pem
expect '' certtool --generate-certificate --load-request request.pem --load-ca-certificate ca.pem \
  --load-ca-privkey ca.key --template /dev/null --outfile device.pem
expect '' tool --login --write --load-certificate device.pem --id 01 --label one "$url"
tool --export "$url;object=one;type=cert" 2>/dev/null | openssl x509 | cmp - <(openssl x509 -in device.pem)
expect 'OK' openssl verify -CAfile ca.pem device.pem
expect '1 objects deleted' tool --batch --login --delete "$url;object=one;type=cert"
