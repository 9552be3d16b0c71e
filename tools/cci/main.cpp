// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <csignal>
#include <iostream>

#include "command_line.h"
#include "failure.h"
#include "output.h"
#include "records.h"
#include "shared/shown_text.h"
#include "signal_watch.h"
#include "standard_files.h"

namespace {

using namespace cci;

/// Without data of its own, a command was there for what it changed on the token.
void deliver(const Answer& answer, const Options& options) try {
  write_output(options.output, options.json ? answer.json : answer.data);
} catch (const Failure& failure) {
  if (!answer.data.empty()) throw;
  throw Failure(failure.exit(), std::string(failure.what()) + "; the command itself is done");
}

void carry_out(const CommandLine& order) {
  const Options& options = order.options;
  if (order.command == nullptr) return write_output(std::nullopt, order.help);
  direct_records(options.verbose);
  Notes notes(options.quiet);
  deliver(order.command(options, notes), options);
}

int fail(const std::exception& error, Exit exit) {
  std::cerr << "cci: " << shown_text::shown(error.what()) << std::endl;
  return exit_code_of(exit);
}

}  // namespace

int main(int argc, char** argv) {
  secure_standard_files();
  try {
    carry_out(parse(argc, argv));
    return exit_code_of(Exit::kDone);
  } catch (const Failure& failure) {
    return fail(failure, failure.exit());
  } catch (const Interrupted& interrupted) {
    std::signal(interrupted.signal(), SIG_DFL);
    std::raise(interrupted.signal());
    return fail(interrupted, Exit::kNotDone);
  } catch (const std::exception& error) {
    return fail(error, Exit::kNotDone);
  }
}
