#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# on_tpm.sh COMMAND...: runs the command with a TPM of its own, emulated by swtpm; tokens that it makes keep their keys
# there. Fails when the command does, does not use the TPM, or leaves an object or a session in it.
set -euo pipefail
folder=$(mktemp -d "${TMPDIR:-/dev/shm}/tpm-XXXXXX")
stop() {
  kill "$(cat "$folder/pid")" 2>/dev/null || true
  rm -rf "$folder"
}
trap stop EXIT
swtpm socket --tpm2 --tpmstate "dir=$folder" --server "type=unixio,path=$folder/socket" \
  --ctrl "type=unixio,path=$folder/socket.ctrl" --flags not-need-init,startup-clear --pid "file=$folder/pid" \
  --log "file=$folder/log" --daemon
export TPM2TOOLS_TCTI=swtpm:path=$folder/socket
TEE_TOKEN_KEYS=tpm:$TPM2TOOLS_TCTI "$@"
grep -q 'client disconnected' "$folder/log" || { echo "no token has used the TPM" >&2 && exit 1; }
left=$(tpm2_getcap handles-transient && tpm2_getcap handles-loaded-session)
[[ -z $left ]] || { echo "left in the TPM: $left" >&2 && exit 1; }
