// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "backend.h"

#include "commands.h"

namespace provisioning {
namespace {

const char kNewKey[] = " -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes ";

}  // namespace

Backend::Backend() {
  write_file("ca.ext",
             std::string("basicConstraints=critical,CA:true\nkeyUsage=critical,keyCertSign,cRLSign\n"));
  write_file("client.ext",
             std::string("basicConstraints=critical,CA:false\nkeyUsage=critical,digitalSignature\n"
                         "extendedKeyUsage=clientAuth\n"));
  run(std::string("openssl req -x509") + kNewKey +
      "-keyout root.key -out root.pem -days 3650 -subj '/O=QAVR/CN=Root'");
  run(std::string("openssl req") + kNewKey +
      "-keyout intermediate.key -out intermediate.csr -subj '/O=QAVR/CN=Intermediate'");
  run("openssl x509 -req -in intermediate.csr -CA root.pem -CAkey root.key -days 1825 -extfile ca.ext -out "
      "intermediate.pem");
}

std::string Backend::certify(const std::string& request_file) const {
  run("openssl x509 -req -inform DER -in " + request_file +
      " -CA intermediate.pem -CAkey intermediate.key -days 365 -extfile client.ext -out issued.pem");
  return read_file("issued.pem") + read_file("intermediate.pem");
}

void make_device_certificate(const std::string& name, const std::string& common_name) {
  run(std::string("openssl req -x509") + kNewKey + "-keyout " + name + ".key -out " + name +
      ".pem -days 3650 -subj '/O=QAVR/CN=" + common_name + "'");
}

}  // namespace provisioning
