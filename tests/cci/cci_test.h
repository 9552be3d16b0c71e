// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gmock/gmock.h>

#include <fstream>
#include <string>

#include "support/temporary_folder.h"
#include "tee-token/admin_shell.h"

namespace cci_test {

using token_test::Case;

/// A fresh token and a CA in a folder of the test's own, where commands run and find cci and tee-token.
class CciTest : public testing::Test {
 protected:
  CciTest() {
    ::setenv("TEE_TOKEN_DIR", path("token").c_str(), 1);
    ::unsetenv("TEE_TOKEN_LOG");
    run("tee-token init; tee-token import-data 2_1 WXY00TEEDEMO00001; openssl req -x509 -newkey ec -pkeyopt "
        "ec_paramgen_curve:P-256 -nodes -keyout ca.key -out ca.pem -days 3650 -subj /O=QAVR/CN=CA; "
        "echo extendedKeyUsage=clientAuth > client.ext");
  }

  /// Both outputs of a command, of a shell with `set -o pipefail`.
  token_test::Outcome run(const std::string& command) const {
    std::ofstream(path("command.sh"))
        << "set -o pipefail\nPATH='" CCI_FOLDER "':$PATH\ncd '" << path("") << "'\n"
        << command << "\n";
    return token_test::shell("bash '" + path("command.sh") + "'");
  }
  std::string text(const std::string& command) const { return run(command).text; }
  std::string path(const std::string& name) const { return (m_folder.path() / name).string(); }

  /// A command that certifies the request on stdin.
  static std::string issue(const std::string& days = "90") {
    return "openssl x509 -req -CA ca.pem -CAkey ca.key -extfile client.ext -days " + days + " 2>/dev/null";
  }
  static std::string provision(const std::string& backend = issue() + "; cat ca.pem",
                               const std::string& options = "--pem") {
    return "cci provision --common-name device " + options + " --issue '" + backend + "'";
  }

  void expect(const Case& each) const { token_test::expect(each, run(each.command)); }

 private:
  test_support::TemporaryFolder m_folder;
};

}  // namespace cci_test
