// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// log-writer CONTEXT TEXT...: logs each TEXT as a warning, then once in a forked child, and once when static
// objects are destroyed.

#include <ara/log/logging.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Farewell {
  ~Farewell() { ara::log::CreateLogger("EXIT", "").LogInfo() << "ends"; }
} farewell;  // made before the first logger, so destroyed after whatever that sets up

}  // namespace

int main(int argc, char** argv) {
  const auto& log = ara::log::CreateLogger(argv[1], "writer");
  for (int text = 2; text < argc; ++text) log.LogWarn() << argv[text];
  const pid_t child = ::fork();
  if (child == 0) {
    log.LogInfo() << "child";
    ::_exit(0);
  }
  ::waitpid(child, nullptr, 0);
  return 0;
}
