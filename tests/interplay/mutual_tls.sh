#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# nginx demands a client certificate: the TLS client shows the token's, and refuses servers that it does not trust.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
programs=$(dirname "$tee_token")
PATH=$3/sbin:$PATH:/usr/sbin
needs nginx
export ARA_LOG_SINK=none
trap 'kill "${server:-}" 2>/dev/null || true; wait; rm -rf "$folder"' EXIT

new_key=(-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes)
openssl req -x509 "${new_key[@]}" -keyout ca.key -out ca.pem -subj /CN=ca 2>/dev/null
openssl req -x509 -CA ca.pem -CAkey ca.key "${new_key[@]}" -keyout server.key -out server.pem -subj /CN=localhost \
  -addext subjectAltName=DNS:localhost 2>/dev/null
cat ca.pem >>server.pem  # as some servers do; it must not make the client trust it

expect 'made token' "$tee_token" init
echo extendedKeyUsage=clientAuth >client.ext
expect '' "$tee_token" add-trust-group backend ca.pem
expect '' "$tee_token" add-trust-group empty

choose_port
mkdir nginx
cat >nginx.conf <<END
daemon off;
master_process off;
pid nginx/pid;
error_log stderr;
events {}
http {
  access_log off;
  client_body_temp_path nginx/body; proxy_temp_path nginx/proxy; fastcgi_temp_path nginx/fastcgi;
  uwsgi_temp_path nginx/uwsgi; scgi_temp_path nginx/scgi;
  ssl_certificate server.pem; ssl_certificate_key server.key;
  ssl_client_certificate ca.pem; ssl_verify_client on;
  server {
    listen 127.0.0.1:$port ssl;
    return 200 "serial \$ssl_client_serial \$ssl_client_verify \$ssl_protocol\n";
  }
}
END

nginx -p "$folder/" -c nginx.conf 2>nginx/log &
server=$!
wait_for is_open

connect() { "$programs/mutual-tls" "${2:-localhost}" "$port" "${1:-backend}"; }
installed_serial() { "$programs/cci" cert | openssl x509 -noout -serial | sed 's/.*=//'; }

refused 'no client certificate is installed' connect
expect 'verified' "$programs/cci" provision --common-name device --issue \
  'openssl x509 -req -inform DER -CA ca.pem -CAkey ca.key -extfile client.ext'
expect "serial $(installed_serial) SUCCESS TLSv1.2" connect
refused 'Cannot establish trust' connect empty
expect '' "$tee_token" change-pin --yes --new-pin-hex 31323334
refused 'CKR_PIN_INCORRECT: wrong user PIN; run: tee-token reset-pin --platform-pin' connect
expect '' "$tee_token" reset-pin --platform-pin
refused 'does not match' connect backend 127.0.0.1  # the certificate is for localhost
