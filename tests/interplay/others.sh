#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# p11-kit, GnuTLS and OpenSSH use the token.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
make_token
make_key

# GnuTLS generates, signs, requests, stores a certificate and deletes it.
url='pkcs11:token=desk'
tool() { p11tool --provider "$module" "$@"; }
expect 'Generating an EC/ECDSA key' tool --login --generate-ecc --curve secp384r1 --id 02 --label two \
  --outfile two.pub "$url"
expect 'Verifying against public key in the token... ok' tool --login --test-sign "$url;object=two;type=private"
refused 'No matching objects' tool --list-all-privkeys "$url;object=two"
echo 'cn = "device"' >template
expect '' certtool --provider "$module" --generate-request --load-privkey "$url;object=one;type=private" \
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
