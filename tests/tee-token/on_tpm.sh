#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# on_tpm.sh FOLDER COMMAND...: runs the command with a software TPM, new in the empty folder, behind a resource
# manager; tpm2-pkcs11 finds it by its environment.
set -euo pipefail
# The resource manager may have been unpacked there by ./run test.
PATH=$(dirname "$0")/../../build/servers/usr/sbin:$PATH
[[ ${ON_TPM_BUS:-} ]] || ON_TPM_BUS=1 exec dbus-run-session -- "$0" "$@"
folder=$1
shift
trap 'kill $(jobs -p); wait' EXIT

# await COMMAND...: until it succeeds, for some seconds
await() {
  for _ in {1..200}; do
    if "$@"; then return; fi
    sleep 0.05
  done
  exit 1
}

manager_is_there() {
  dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
    string:com.intel.tss2.Tabrmd | grep true
}

{
  mkdir "$folder/state" "$folder/store"
  swtpm socket --tpm2 --tpmstate "dir=$folder/state" --flags not-need-init,startup-clear \
    --server "type=unixio,path=$folder/tpm" --ctrl "type=unixio,path=$folder/tpm.ctrl" &
  await test -S "$folder/tpm.ctrl"
  as_root=()
  ((EUID != 0)) || as_root=(--allow-root)
  tpm2-abrmd --session "${as_root[@]}" --tcti="swtpm:path=$folder/tpm" &
  await manager_is_there
} >"$folder/log" 2>&1
TPM2_PKCS11_TCTI=tabrmd:bus_type=session TPM2_PKCS11_STORE=$folder/store "$@"
