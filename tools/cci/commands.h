// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "failure.h"

namespace cci {

class Notes;

enum class SignatureForm { kRaw, kDer, kHex, kBase64 };

/// The options of all commands.
struct Options {
  bool json = false, quiet = false, verbose = false, pem = false, force = false;
  std::string common_name, key = "LYR", group, issue, after, roots;
  std::optional<long> days;           // of validity that an identity needs
  std::string file = "-";             // input; "-": stdin
  std::optional<std::string> output;  // a file; without it stdout
  SignatureForm form = SignatureForm::kRaw;
  std::chrono::seconds timeout{60};
};

/// What a command writes to stdout.
struct Answer {
  std::string data;
  std::string json;  // instead of the data, with --json
  Exit exit = Exit::kDone;
};

/// Carries out one subcommand or throws a Failure.
using Command = Answer (*)(const Options&, Notes&);

Answer generate_key(const Options& options, Notes& notes);
Answer csr(const Options& options, Notes& notes);
Answer install(const Options& options, Notes& notes);
Answer delete_identity(const Options& options, Notes& notes);
Answer cert(const Options& options, Notes& notes);
Answer public_key(const Options& options, Notes& notes);
Answer sign(const Options& options, Notes& notes);
Answer roots(const Options& options, Notes& notes);
Answer vin(const Options& options, Notes& notes);
Answer status(const Options& options, Notes& notes);
Answer provision(const Options& options, Notes& notes);

struct CommandLine {
  Command command = nullptr;
  Options options;
  std::string help;  // to print, instead of running a command
};

/// Throws a Failure of class kUsage.
CommandLine parse(int argc, char** argv);

}  // namespace cci
