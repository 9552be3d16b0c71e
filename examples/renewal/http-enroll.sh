#!/bin/sh
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# Has a CA issue a certificate with one HTTP request: a request in DER on stdin, the chain in PEM on stdout.
#   CA_URL    where the CA takes requests
#   CA_ROOTS  file of the roots that the server's certificate must verify with
set -eu
exec curl --silent --show-error --fail --cacert "$CA_ROOTS" --header 'Content-Type: application/pkcs10' \
  --data-binary @- "$CA_URL"
