// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace cci {

struct BackendCommand {
  std::string command;  // for /bin/sh
  std::string input;
  std::chrono::seconds timeout;
  std::string on_interrupt;  // goes to stderr when a signal ends this program meanwhile
};

/// Runs the command with the input as its stdin and returns what it writes to stdout; its stderr is the
/// caller's. It has no terminal. Calls `waiting` about every second. Throws a Failure of class kBackendFailed
/// when the command fails, takes too long or writes more than 16 MiB. All processes of the command's group
/// are ended when this returns, and when a signal ends this program.
std::string answer_of_command(const BackendCommand& backend,
                              const std::function<void(std::chrono::seconds)>& waiting);

}  // namespace cci
