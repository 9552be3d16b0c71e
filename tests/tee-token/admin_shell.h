// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace token_test {

struct Outcome {
  int code;
  std::string text;  // stdout and stderr
};

/// Runs the command by sh.
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

/// Runs tee-token on the token of TEE_TOKEN_DIR.
inline Outcome admin(const std::string& arguments) { return shell("'" TEE_TOKEN_ADMIN "' " + arguments); }

/// A command, its exit code, and a part of what it writes.
struct Case {
  std::string command;
  int code;
  std::string said = {};
};

inline void expect(const Case& each, const Outcome& outcome) {
  EXPECT_EQ(outcome.code, each.code) << each.command << "\n" << outcome.text;
  EXPECT_THAT(outcome.text, testing::HasSubstr(each.said)) << each.command;
}
/// The command is the arguments of tee-token.
inline void expect(const Case& each) { expect(each, admin(each.command)); }

}  // namespace token_test
