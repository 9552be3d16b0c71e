#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# p11-kit knows the module by a line in a user's configuration, and so do the programs that ask p11-kit.
# A root user's own configuration is not looked at: another user asks, who may not enter every TMPDIR.
((EUID != 0)) || export TMPDIR=/tmp
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
make_token

as_user=()
if ((EUID == 0)); then
  as_user=(setpriv --reuid=65534 --regid=65534 --clear-groups)
  cp "$module" module.so
  module=$folder/module.so
fi
mkdir -p .config/pkcs11/modules
echo "module: $module" >.config/pkcs11/modules/tee.module
((EUID != 0)) || chown -R 65534:65534 "$folder"

expect "tee: $module" "${as_user[@]}" p11-kit list-modules
expect 'token: desk' "${as_user[@]}" p11-kit list-modules
expect 'Label: desk' "${as_user[@]}" p11tool --list-tokens
expect 'Generating' "${as_user[@]}" p11tool --login --generate-ecc --curve secp256r1 --label one \
  --outfile one.pub pkcs11:token=desk
expect 'ok' "${as_user[@]}" p11tool --login --test-sign 'pkcs11:token=desk;object=one;type=private'
