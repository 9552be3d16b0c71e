#!/bin/sh
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# Has a CA issue a certificate over EST (RFC 7030, simpleenroll): a request in DER on stdin, the chain in PEM on stdout.
#   EST_URL    https://HOST:PORT/.well-known/est
#   EST_ROOTS  file of the roots that the server's certificate must verify with
#   EST_NETRC  file with the user and the password (netrc format), which only its owner may read
#   EST_CHAIN  file of the CA certificates that follow the client's, since the answer has the client's alone
set -eu
# In a variable, since a shell forgets the failure of a command that writes to a pipe.
answer=$(base64 | curl --silent --show-error --fail --cacert "$EST_ROOTS" --netrc-file "$EST_NETRC" \
  --header 'Content-Type: application/pkcs10' --header 'Content-Transfer-Encoding: base64' \
  --data-binary @- "$EST_URL/simpleenroll")
printf '%s\n' "$answer" | base64 -d | openssl pkcs7 -inform DER -print_certs
cat "$EST_CHAIN"
