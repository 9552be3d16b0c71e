#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# A server of the test's own issues certificates over EST and plain HTTP to the scripts of examples/renewal, and systemd
# reads the units there.
source "$(dirname "${BASH_SOURCE[0]}")/token.sh"
programs=$(dirname "$tee_token") examples=$4
needs curl socat systemd-analyze
trap 'kill "${server:-}" 2>/dev/null || true; wait; rm -rf "$folder"' EXIT

cp "$examples"/cci-renew.{service,timer} .
sed -i "s#/usr/bin/cci#$programs/cci#" cci-renew.service
said=$(systemd-analyze verify --man=no "$folder"/cci-renew.{timer,service} 2>&1) && [[ ! $said ]] || die "systemd: $said"

new_key=(-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes)
openssl req -x509 "${new_key[@]}" -keyout ca.key -out ca.pem -subj /CN=ca 2>/dev/null
openssl req -x509 -CA ca.pem -CAkey ca.key "${new_key[@]}" -keyout server.key -out server.pem -subj /CN=localhost \
  -addext subjectAltName=DNS:localhost 2>/dev/null
echo extendedKeyUsage=clientAuth >client.ext
echo 'machine localhost login vehicle password secret' >netrc
cat >answer.sh <<'END_OF_SERVER'
length=0 status='404 Not Found'
read -r method path _
while IFS=$' \r' read -r name value && [[ $name ]]; do
  case ${name,,} in
    content-length:) length=$value ;;
    content-type:) type=$value ;;
    authorization:) user=$(base64 -d <<<"${value#Basic }") ;;
  esac
done
head -c "$length" >request
issue() { openssl x509 -req -inform DER -CA ca.pem -CAkey ca.key -extfile client.ext; }
case "$method $path ${type:-}" in
  'POST /sign application/pkcs10') answer=$(issue <request && cat ca.pem) && status='200 OK' ;;
  'POST /.well-known/est/simpleenroll application/pkcs10')
    if [[ ${user:-} == vehicle:secret ]]; then
      answer=$(base64 -d request | issue | openssl crl2pkcs7 -nocrl -certfile /dev/stdin -outform DER | base64)
      status='200 OK'
    else
      status='401 Unauthorized'
    fi
    ;;
esac
printf 'HTTP/1.1 %s\r\nContent-Length: %d\r\nConnection: close\r\n\r\n%s' "$status" "${#answer}" "${answer:-}"
END_OF_SERVER
choose_port
socat "OPENSSL-LISTEN:$port,fork,reuseaddr,cert=server.pem,key=server.key,verify=0" EXEC:'bash answer.sh' 2>log &
server=$!
wait_for is_open

expect 'made token' "$tee_token" init
export CA_URL=https://localhost:$port/sign CA_ROOTS=$folder/ca.pem EST_URL=https://localhost:$port/.well-known/est \
  EST_ROOTS=$folder/ca.pem EST_CHAIN=$folder/ca.pem EST_NETRC=$folder/netrc
for script in est-enroll http-enroll; do
  expect 'verified' "$programs/cci" provision --common-name device --issue "$examples/$script.sh"
  "$programs/cci" cert >chain.pem
  expect 'chain.pem: OK' openssl verify -CAfile ca.pem chain.pem
done
CA_URL=https://localhost:$port/elsewhere refused '404' "$programs/cci" provision --common-name device \
  --issue "$examples/http-enroll.sh"
echo 'machine localhost login vehicle password other' >netrc
refused '401' "$programs/cci" provision --common-name device --issue "$examples/est-enroll.sh"
expect "$(cat chain.pem)" "$programs/cci" cert
