// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace token_test {

struct Outcome {
  int code;
  std::string text;  // stdout and stderr
};

inline Outcome shell(const std::string& command) {
  Outcome outcome{-1, ""};
  std::FILE* const pipe = ::popen(("(" + command + ") 2>&1").c_str(), "r");
  char part[512];
  for (std::size_t length = 0; (length = std::fread(part, 1, sizeof part, pipe)) > 0;) {
    outcome.text.append(part, length);
  }
  outcome.code = WEXITSTATUS(::pclose(pipe));
  return outcome;
}

/// Runs the command on a terminal and answers each prompt, which ends with a colon, with the next line.
inline Outcome on_terminal(const std::string& command, const std::vector<std::string>& answers) {
  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(127);
  }
  Outcome outcome{-1, ""};
  auto answer = answers.begin();
  char part[512];
  for (ssize_t length = 0; (length = ::read(terminal, part, sizeof part)) > 0;) {
    outcome.text.append(part, static_cast<std::size_t>(length));
    const bool asked = outcome.text.size() > 2 && outcome.text.compare(outcome.text.size() - 2, 2, ": ") == 0;
    if (asked && answer != answers.end() &&
        ::write(terminal, answer->data(), answer->size()) == static_cast<ssize_t>(answer->size())) {
      ++answer;
    }
  }
  ::close(terminal);
  ::waitpid(child, &outcome.code, 0);
  outcome.code = WEXITSTATUS(outcome.code);
  return outcome;
}

/// Runs tee-token on the token of TEE_TOKEN_DIR.
inline Outcome admin(const std::string& arguments) { return shell("'" TEE_TOKEN_ADMIN "' " + arguments); }

}  // namespace token_test
