# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# For scripts that connect to nginx, which demands a client certificate of the CA ca.pem and answers with its serial
# number: they source this instead of token.sh, with the folder of the servers as third argument.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
PATH=$3/sbin:$PATH:/usr/sbin
needs nginx
servers=()
trap 'kill "${servers[@]}" 2>/dev/null || true; wait; rm -rf "$folder"' EXIT

new_key=(-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes)
openssl req -x509 "${new_key[@]}" -keyout ca.key -out ca.pem -subj /CN=ca 2>/dev/null
openssl req -x509 -CA ca.pem -CAkey ca.key "${new_key[@]}" -keyout server.key -out server.pem -subj /CN=localhost \
  -addext subjectAltName=DNS:localhost 2>/dev/null
cat ca.pem >>server.pem  # as some servers do; it must not make the client trust it
echo extendedKeyUsage=clientAuth >client.ext

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
  ssl_protocols TLSv1.2 TLSv1.3;
  ssl_certificate server.pem; ssl_certificate_key server.key;
  ssl_client_certificate ca.pem; ssl_verify_client on;
  server {
    listen 127.0.0.1:$port ssl;
    return 200 "serial \$ssl_client_serial \$ssl_client_verify \$ssl_protocol\n";
  }
}
END
nginx -p "$folder/" -c nginx.conf 2>nginx/log &
servers+=($!)
wait_for is_open
