#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# OpenSSH takes its keys from the token: alone, and in an agent that signs with them.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
make_token
make_key

ssh-keygen -D "$module" -e 2>/dev/null >one
ssh-keygen -e -m PKCS8 -f one | cmp - one.pub

printf '#!/bin/sh\necho %s\n' "$pin" >askpass
chmod +x askpass
export SSH_ASKPASS=$folder/askpass SSH_ASKPASS_REQUIRE=force
verify() { ssh-keygen -Y verify -f allowed -I device -n file -s message.sig >/dev/null 2>&1; }
in_agent() {
  expect 'Card added' ssh-add -s "$module"
  expect 'one (ECDSA)' ssh-add -l
  expect 'Write signature' ssh-keygen -Y sign -f one -n file message
  echo "device $(<one)" >allowed
  verify <message || die 'the signature verifies'
  ! verify <allowed || die 'the signature verifies another message'
  expect 'Card removed' ssh-add -e "$module"
  refused 'no identities' ssh-add -l
}
export -f die expect refused verify in_agent
export module
# The agent ends with the command that it runs.
ssh-agent -a "$folder/agent" -P "$module" "$BASH" -euo pipefail -O inherit_errexit -c in_agent
