// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/temporary_folder.h"

namespace test_support {

/// TPMs emulated by swtpm, one at a time, at one socket. While it exists, new tokens are made on them, and
/// tpm2-tools use them.
class Swtpm {
 public:
  Swtpm() {
    ::setenv("TEE_TOKEN_KEYS", ("tpm:" + tcti()).c_str(), 1);
    ::setenv("TPM2TOOLS_TCTI", tcti().c_str(), 1);
    ::setenv("TSS2_LOG", "all+none", 1);
    start("tpm");
  }
  ~Swtpm() {
    stop();
    ::unsetenv("TEE_TOKEN_KEYS");
  }
  Swtpm(const Swtpm&) = delete;
  Swtpm& operator=(const Swtpm&) = delete;

  /// The TPM of this name, new or as it was stopped.
  void start(const std::string& name) {
    tpm("mkdir -p " + name + " && swtpm socket --tpm2 --tpmstate dir=$PWD/" + name +
        " --server type=unixio,path=$PWD/socket --ctrl type=unixio,path=$PWD/socket.ctrl"
        " --flags not-need-init,startup-clear --pid file=$PWD/pid --daemon");
  }
  void stop() { tpm("kill $(cat pid); while [ -e pid ]; do sleep 0.01; done"); }

  /// Runs commands of tpm2-tools in a folder of the TPM.
  void tpm(const std::string& commands) const {
    const std::string all = "cd '" + m_folder.path().string() + "' && (" + commands + ") >log 2>&1";
    EXPECT_EQ(std::system(all.c_str()), 0) << commands;
  }
  void expect_empty() const {
    tpm("tpm2_getcap handles-transient; tpm2_getcap handles-loaded-session"), tpm("! grep 0x log");
  }

 private:
  std::string tcti() const { return "swtpm:path=" + m_folder.path().string() + "/socket"; }

  TemporaryFolder m_folder;
};

}  // namespace test_support
