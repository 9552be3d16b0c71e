// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// log-writer CONTEXT COUNT TEXT: writes COUNT warnings, as any application would, and one more record at its
// exit.

#include <ara/log/logging.h>

#include <cstdlib>
#include <string>

namespace {

/// Begins before the first logger is made, so it ends after whatever that has set up.
struct Farewell {
  ~Farewell() { ara::log::CreateLogger("EXIT", "").LogInfo() << "ends"; }
} farewell;

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return EXIT_FAILURE;
  for (int count = std::stoi(argv[2]); count > 0; --count) {
    ara::log::CreateLogger(argv[1], "writer").LogWarn() << argv[3];
  }
  return EXIT_SUCCESS;
}
