// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "commands.h"
#include "options.h"

namespace cci {

struct CommandLine {
  Command command = nullptr;
  Options options;
  std::string help;  // asked for, instead of a command
};

/// Throws a Failure of class kUsage.
CommandLine parse(int argc, char** argv);

}  // namespace cci
