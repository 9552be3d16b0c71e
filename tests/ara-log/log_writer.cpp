// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// log-writer CONTEXT COUNT TEXT [fork]: writes COUNT warnings, as any application would, forks a child that
// only ends, and writes one more record at its exit.

#include <ara/log/logging.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

/// Begins before the first logger is made, so it ends after whatever that has set up.
struct Farewell {
  ~Farewell() { ara::log::CreateLogger("EXIT", "").LogInfo() << "ends"; }
} farewell;

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) return EXIT_FAILURE;
  for (int count = std::stoi(argv[2]); count > 0; --count) {
    ara::log::CreateLogger(argv[1], "writer").LogWarn() << argv[3];
  }
  if (argc == 5 && ::fork() > 0) ::wait(nullptr);
  return EXIT_SUCCESS;
}
