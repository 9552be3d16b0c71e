#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# OpenSSL and curl through libp11's engine, GnuTLS, and OpenSSH use a token that has a PIN of text.
source "$(dirname "${BASH_SOURCE[0]}")/nginx.sh"
needs pkcs11-tool p11tool gnutls-cli curl ssh-agent
expect "made token 'desk'" "$tee_token" --pin-hex 34333231 --so-pin-hex 3837363534333231 init --label desk
expect 'Key pair generated' pkcs11-tool --module "$module" --login --pin "$pin" --keypairgen \
  --key-type EC:prime256v1 --id 01 --label one

# The engine signs and requests; without it, OpenSSL verifies.
export PKCS11_MODULE_PATH=$module
openssl engine pkcs11 &>/dev/null || skip "OpenSSL has no engine pkcs11"
key="pkcs11:token=desk;object=one;type=private;pin-value=$pin" cert='pkcs11:token=desk;object=one;type=cert'
expect 'Engine "pkcs11" set' openssl req -engine pkcs11 -keyform engine -new -key "$key" -subj /CN=device -out request.pem
expect 'verify OK' openssl req -in request.pem -noout -verify
openssl x509 -req -in request.pem -CA ca.pem -CAkey ca.key -extfile client.ext -out cert.pem 2>/dev/null
openssl x509 -in cert.pem -outform DER -out cert.der
expect 'Created certificate' pkcs11-tool --module "$module" --login --pin "$pin" --write-object cert.der --type cert \
  --id 01 --label one
served="serial $(openssl x509 -in cert.pem -noout -serial | sed 's/.*=//') SUCCESS TLSv1.3"

request() { printf 'GET / HTTP/1.0\r\n\r\n' | "$@"; }
with_openssl() {
  request openssl s_client -connect "localhost:$port" -CAfile ca.pem -verify_return_error -quiet \
    -engine pkcs11 -keyform engine -key "$key" -cert cert.pem
}
with_gnutls() {
  request gnutls-cli --provider "$module" --port "$port" --x509cafile ca.pem --x509keyfile "$key" \
    --x509certfile "$cert" localhost
}
expect "$served" with_openssl
expect "$served" curl --cacert ca.pem --engine pkcs11 --key "$key" --cert "$cert" "https://localhost:$port/"
expect "$served" with_gnutls

refused 'No such file' /usr/bin/python3 -c \
  'import ssl, sys; ssl.create_default_context().load_cert_chain("cert.pem", sys.argv[1])' "$key"

# GnuTLS generates and signs.
tool() { p11tool --provider "$module" "$@"; }
expect 'Generating an EC/ECDSA key' tool --login --generate-ecc --curve secp384r1 --id 02 --label two \
  --outfile two.pub pkcs11:token=desk
expect 'Verifying against public key in the token... ok' tool --login --test-sign \
  'pkcs11:token=desk;object=two;type=private'

# OpenSSH signs through its agent.
printf '#!/bin/sh\necho %s\n' "$pin" >askpass
chmod 700 askpass
eval "$(ssh-agent -P "$module")" >agent
servers+=("$SSH_AGENT_PID")
SSH_ASKPASS=$folder/askpass SSH_ASKPASS_REQUIRE=force expect 'Card added' ssh-add -s "$module"
ssh-add -L | grep ' one$' >one.pub
expect 'Write signature' ssh-keygen -Y sign -n file -f one.pub message
echo "desk $(<one.pub)" >allowed
ssh-keygen -Y verify -f allowed -I desk -n file -s message.sig <message | grep -q 'Good "file" signature'
