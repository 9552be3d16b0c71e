#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# nginx demands a client certificate: the TLS client shows the token's, and its new one after a
# rotation; wrong servers and wrong answers of the backend change nothing.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
programs=$(dirname "$tee_token")
PATH=$3/sbin:$PATH:/usr/sbin
needs nginx
export ARA_LOG_SINK=none
trap 'kill "${server:-}" 2>/dev/null || true; wait; rm -rf "$folder"' EXIT

new_key=(-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes)
for ca in ca other; do
  openssl req -x509 "${new_key[@]}" -keyout $ca.key -out $ca.pem -subj /CN=$ca 2>/dev/null
done
openssl req "${new_key[@]}" -keyout server.key -out server.csr -subj /CN=localhost 2>/dev/null
openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -out server.pem \
  -extfile <(echo subjectAltName=DNS:localhost) 2>/dev/null
cat server.pem ca.pem >server-chain.pem
issue='openssl x509 -req -inform DER -in /dev/stdin -CA ca.pem -CAkey ca.key'

expect 'made token' "$tee_token" init
expect '' "$tee_token" add-trust-group backend ca.pem
expect '' "$tee_token" add-trust-group elsewhere other.pem

mkdir nginx
cat >nginx.conf <<'END'
daemon off;
master_process off;
pid nginx/pid;
error_log stderr;
events {}
http {
  access_log off;
  client_body_temp_path nginx/body; proxy_temp_path nginx/proxy; fastcgi_temp_path nginx/fastcgi;
  uwsgi_temp_path nginx/uwsgi; scgi_temp_path nginx/scgi;
  ssl_certificate server-chain.pem; ssl_certificate_key server.key;
  ssl_client_certificate ca.pem; ssl_verify_client on;
  server {
    listen 127.0.0.1:PORT ssl;
    return 200 "serial $ssl_client_serial $ssl_client_verify $ssl_protocol\n";
  }
}
END

choose_port
sed -i "s/PORT/$port/" nginx.conf
nginx -p "$folder/" -c nginx.conf 2>nginx/log &
server=$!
wait_for is_open

connect() { "$programs/mutual-tls" "${2:-localhost}" "$port" "${1:-backend}"; }
provision() { "$programs/cci" --quiet provision --common-name device --issue "$1"; }
installed_serial() { "$programs/cci" cert | openssl x509 -noout -serial | sed 's/.*=//'; }
seen() { expect "serial $(installed_serial) SUCCESS TLSv1.2" connect; }

refused 'no client certificate is installed' connect
expect '' provision "$issue"
seen
first=$(installed_serial)
expect '' provision "$issue"
[[ $(installed_serial) != "$first" ]] || die 'a rotation brings another certificate'
seen
second=$(installed_serial)
refused '' provision 'openssl x509 -in ca.pem'  # a certificate for another key
[[ $(installed_serial) == "$second" ]] || die 'a wrong answer changed the identity'
seen
refused 'Cannot establish trust' connect elsewhere
refused 'no' connect nonesuch
refused 'does not match' connect backend 127.0.0.1  # the certificate is for localhost
