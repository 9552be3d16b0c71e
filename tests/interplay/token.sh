# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# For scripts that have another program use the module: they source this with the paths of the module and of
# tee-token, and work in a folder of their own, whose token has the PINs 4321 and 87654321.
set -euo pipefail
shopt -s inherit_errexit
module=$1 tee_token=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export TEE_TOKEN_DIR=$folder/token HOME=$folder LC_ALL=C.UTF-8 GNUTLS_PIN=4321
unset XDG_CONFIG_HOME OPENSSL_CONF TEE_TOKEN_LOG
pin=4321 officer_pin=87654321

die() {
  printf 'failed: %s\n' "$*" >&2
  exit 1
}

skip() {
  echo "skipped: $*"
  exit 77
}

# needs PROGRAM...: without one of them, the script is skipped.
needs() {
  for program; do type "$program" &>/dev/null || skip "there is no $program: ./run test installs it"; done
}

# expect TEXT COMMAND...: the command succeeds, and its output has the text.
expect() {
  local output
  output=$("${@:2}" 2>&1 </dev/null) || die "${*:2}: $output"
  [[ $output == *"$1"* ]] || die "${*:2}: no '$1' in: $output"
}

# refused TEXT COMMAND...: the command fails, and its output has the text.
refused() {
  local output
  ! output=$("${@:2}" 2>&1 </dev/null) || die "${*:2} should have failed: $output"
  [[ $output == *"$1"* ]] || die "${*:2}: no '$1' in: $output"
}

# wait_for COMMAND...: until it succeeds, for 20 seconds at most.
wait_for() {
  for _ in {1..400}; do
    ! "$@" || return 0
    sleep 0.05
  done
  die "not in time: $*"
}

# Without a connection, which a server might answer.
is_open() { grep -q ":$(printf %04X "$port") [0-9A-F]*:0000 0A" /proc/net/tcp /proc/net/tcp6; }
choose_port() { while port=$((20000 + RANDOM % 10000)) && is_open; do :; done; }

echo 'to be signed' >message
