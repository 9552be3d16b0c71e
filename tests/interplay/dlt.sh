#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# dlt-receive gets the records from a DLT daemon, with context and level. Without a daemon nothing is harmed; one that
# starts late, or again, gets the records that were kept, and the number of those that were lost.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
programs=$(dirname "$tee_token")
PATH=$3/bin:$PATH
needs dlt-daemon dlt-receive
export DLT_PIPE_DIR=$folder ARA_LOG_SINK=dlt ARA_LOG_APP_ID=APPL ARA_LOG_LEVEL=debug
printf '%s\n' 'BindAddress = ::ffff:127.0.0.1' "ControlSocketPath = $folder/control" >conf
servers=() sent=0
trap 'exec 3>&-; stop_daemon; wait; rm -rf "$folder"' EXIT

has_read() { grep -qsE "$1" read; }
log() { echo "$1" >&3 && ((++sent)); }
# libdlt looks for the daemon when something is logged.
has_read_since() { log now && has_read "$1"; }

# Whether the writer has read so many bytes, and waits for more.
has_been_read() {
  (($(awk '/^rchar/ { print $2 }' /proc/$writer/io) > $1)) && [[ $(cut -d' ' -f3 /proc/$writer/stat) == S ]]
}

start_daemon() {
  choose_port
  dlt-daemon -t "$folder" -p $port -c conf &>daemon.log 3>&- &
  servers=($!)
  wait_for is_open
  stdbuf -oL dlt-receive -a -p $port 127.0.0.1 >read 3>&- &
  servers+=($!)
}
stop_daemon() {
  kill "${servers[@]}" 2>/dev/null || true
  wait "${servers[@]}" || true
}

expect 'up to 2 records did not reach the daemon' "$programs/log-writer" CTXT one two
DLT_PIPE_DIR=/nonesuch expect 'DLT cannot be used yet' "$programs/log-writer" CTXT one

exec 3> >(exec "$programs/log-writer" CTXT 2>writer.log)
writer=$!
log early
start_daemon
wait_for has_read_since 'APPL CTXT log debug V 1 \[early\]'
expect '' "$programs/log-writer" CTXT short
wait_for has_read 'APPL CTXT log warn V 1 \[short\]'
log before
wait_for has_read '\[before\]'

stop_daemon
printf "$(printf %0100d 0)\n%.0s" {1..8000} >&3 # more than libdlt keeps
sent=8000
# A daemon that starts earlier leaves out some of them, since its own level for the context is not debug.
wait_for has_been_read 808000
start_daemon
wait_for has_read_since 'APPL ALOG log warn V 1 \[[0-9]+ records before this one are lost'
# The new daemon's own level for the context leaves out debug records, comes late and must not last.
for number in {1..30}; do
  sleep 0.05
  log "then $number"
  wait_for has_read "\[then $number\]"
done
lost=$(sed -nE 's/.*ALOG.*\[([0-9]+) records.*/\1/p' read)
arrived=$(grep -c 'APPL CTXT log debug' read)
((lost > 0 && lost + arrived == sent)) || die "$sent records, $lost lost, $arrived arrived"

exec 3>&-
wait $writer || die 'the program fails'
[[ $(<writer.log) == *' CTXT info child'*' EXIT info ends' ]] || die "stderr: $(<writer.log)"
