// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "backend.h"

#include <unistd.h>

#include <stdexcept>

#include "evidence.h"

namespace provisioning {
namespace {

const char kNewKey[] = " -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes ";
const char kRunServer[] =
    "trap '' INT; openssl s_server -accept 127.0.0.1:0 -www -Verify 2 -verify_return_error -CAfile root.pem "
    "-cert server.pem -key server.key </dev/null >server.log 2>&1 & read -r end; kill $!";

// The port that the server accepts on; empty as long as the log does not have it.
std::string port_in(const std::string& log) {
  const std::string mark = "ACCEPT 127.0.0.1:";
  const std::size_t at = log.find(mark), end = log.find('\n', at);
  return at == std::string::npos || end == std::string::npos
             ? std::string()
             : log.substr(at + mark.size(), end - at - mark.size());
}

}  // namespace

void make_certificate(const std::string& name, const std::string& common_name) {
  run(std::string("openssl req -x509") + kNewKey + "-keyout " + name + ".key -out " + name +
      ".pem -days 3650 -subj '/O=QAVR/CN=" + common_name + "'");
}

void make_authority() {
  write_file("ca.ext", "basicConstraints=critical,CA:true\nkeyUsage=critical,keyCertSign,cRLSign\n");
  write_file("client.ext",
             "basicConstraints=critical,CA:false\nkeyUsage=critical,digitalSignature\n"
             "extendedKeyUsage=clientAuth\n");
  make_certificate("root", "Root");
  run(std::string("openssl req") + kNewKey +
      "-keyout intermediate.key -out intermediate.csr -subj '/O=QAVR/CN=Intermediate'");
  run("openssl x509 -req -in intermediate.csr -CA root.pem -CAkey root.key -days 1825 -extfile ca.ext -out "
      "intermediate.pem");
}

std::string certify(const std::string& request_file) {
  run("openssl x509 -req -inform DER -in " + request_file +
      " -CA intermediate.pem -CAkey intermediate.key -days 365 -extfile client.ext -out issued.pem");
  return read_file("issued.pem") + read_file("intermediate.pem");
}

Server::Server() : m_process(nullptr, ::pclose) {
  write_file("server.ext", "subjectAltName=DNS:localhost\nextendedKeyUsage=serverAuth\n");
  run(std::string("openssl req") + kNewKey + "-keyout server.key -out server.csr -subj /CN=localhost");
  run("openssl x509 -req -in server.csr -CA root.pem -CAkey root.key -days 30 -extfile server.ext -out "
      "server.pem");
  write_file("server.log", "");
  m_process.reset(::popen(kRunServer, "we"));
  for (int tries = 0; m_process && m_port.empty() && tries < 500; ++tries) {
    ::usleep(10 * 1000);
    m_port = port_in(read_file("server.log"));
  }
  if (m_port.empty()) {
    throw std::runtime_error("openssl s_server does not start: " + read_file("server.log"));
  }
}

}  // namespace provisioning
