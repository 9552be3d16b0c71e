// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// log-writer CONTEXT TEXT...: logs each TEXT as a warning, then once from a forked child and once at exit.

#include <ara/log/logging.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <string>

namespace {

struct Farewell {
  ~Farewell() { ara::log::CreateLogger("EXIT", "").LogInfo() << "ends"; }
} farewell;  // made before the first logger, so destroyed after whatever that sets up

}  // namespace

int main(int argc, char** argv) {
  const auto& log = ara::log::CreateLogger(argv[1], "writer");
  for (int text = 2; text < argc; ++text) log.LogWarn() << argv[text];
  for (std::string line; argc == 2 && std::getline(std::cin, line);) log.LogDebug() << line;
  if (::fork() == 0) {
    log.LogInfo() << "child";
    ::_exit(0);
  }
  ::wait(nullptr);
}
