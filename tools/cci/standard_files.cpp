// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "standard_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace cci {

void secure_standard_files() {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    // To read a closed stdin stays an error, and to write to a closed stdout. A new file gets the lowest
    // number.
    const int flags = number == STDOUT_FILENO ? O_RDONLY : O_WRONLY;
    if (::fcntl(number, F_GETFD) == -1 && ::open("/dev/null", flags) != number) std::abort();
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGCHLD, SIG_DFL);
}

}  // namespace cci
