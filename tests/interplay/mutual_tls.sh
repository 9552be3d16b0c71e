#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# The library's identity in TLS clients on Botan and on OpenSSL, which refuse servers that they do not trust, and in
# Python. Programs that cannot pass the platform's PIN do not get it.
source "$(dirname "${BASH_SOURCE[0]}")/nginx.sh"
programs=$(dirname "$tee_token")
export ARA_LOG_SINK=none

expect 'made token' "$tee_token" init
expect '' "$tee_token" add-trust-group backend ca.pem
expect '' "$tee_token" add-trust-group empty

connect() { "$programs/$1" "${3:-localhost}" "$port" "${2:-backend}"; }

refused 'no client certificate is installed' connect mutual-tls
refused 'no client certificate is installed' connect openssl-client
expect 'verified' "$programs/cci" provision --common-name device --issue \
  'openssl x509 -req -inform DER -CA ca.pem -CAkey ca.key -extfile client.ext'
"$programs/cci" cert >cert.pem
serial=$(openssl x509 -in cert.pem -noout -serial | sed 's/.*=//')
expect "serial $serial SUCCESS TLSv1.2" connect mutual-tls
expect "serial $serial SUCCESS TLSv1.3" connect openssl-client
refused 'Cannot establish trust' connect mutual-tls empty
refused 'certificate verify failed' connect openssl-client empty
refused 'does not match' connect mutual-tls backend 127.0.0.1  # the certificate is for localhost
refused 'certificate verify failed' connect openssl-client backend 127.0.0.1

cat >sign.py <<'END'
import sys
from PyKCS11 import *
library = PyKCS11Lib()
library.load(sys.argv[1])
session = library.openSession(library.getSlotList(tokenPresent=True)[0])
session.login("40718293\0")  # with the zero byte
key = session.findObjects([(CKA_CLASS, CKO_PRIVATE_KEY), (0x80001004, (True,))])[0]  # installed
halves = bytes(session.sign(key, open("message", "rb").read(), Mechanism(CKM_ECDSA_SHA256)))
numbers = [halves[:32].hex(), halves[32:].hex()]
open("signature.cnf", "w").write("asn1=SEQUENCE:s\n[s]\nr=INTEGER:0x%s\ns=INTEGER:0x%s\n" % tuple(numbers))
END
expect '' /usr/bin/python3 sign.py "$module"
expect '' openssl asn1parse -genconf signature.cnf -noout -out signature
openssl x509 -in cert.pem -noout -pubkey >cert.pub
expect 'Verified OK' openssl dgst -sha256 -verify cert.pub -signature signature message

# These cut the PIN at its zero byte.
uri='pkcs11:token=TEE%20token;pin-value=40718293%00'
refused '' env PKCS11_MODULE_PATH="$module" openssl pkey -engine pkcs11 -inform engine -in "$uri;type=private" -pubout
expect 'wrong tries' "$tee_token" status
refused 'Error in provided PIN' p11tool --provider "$module" --login --list-privkeys "$uri"

expect '' "$tee_token" change-pin --yes --new-pin-hex 31323334
refused 'CKR_PIN_INCORRECT: wrong user PIN; run: tee-token reset-pin --platform-pin' connect mutual-tls
expect '' "$tee_token" reset-pin --platform-pin
