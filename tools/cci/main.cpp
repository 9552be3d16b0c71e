// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <ara/log/logging.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "input_output.h"
#include "shared/shown_text.h"

namespace {

using namespace cci;

/// Sends the library's records to where ARA_LOG_SINK says, by default nowhere, and with `to_stderr` also to
/// stderr. The library later gets the logger that is created here.
void direct_records(bool to_stderr) {
  const char* const setting = std::getenv("ARA_LOG_SINK");
  const std::string sinks = setting == nullptr ? "" : setting;
  if (to_stderr && ("," + sinks + ",").find(",console,") == std::string::npos) {
    ::setenv("ARA_LOG_SINK", (sinks + ",console").c_str(), 1);
  } else if (sinks.empty()) {
    ::setenv("ARA_LOG_SINK", "none", 1);
  }
  ara::log::CreateLogger("CCIA", "default context of CCI API",
                         to_stderr ? ara::log::LogLevel::kDebug : ara::log::LogLevel::kWarn);
}

/// Opens /dev/null for each standard file that the caller closed, in the mode that makes its use fail.
/// Otherwise a file of the token could get the number of stderr, and the messages.
void reserve_standard_files() {
  for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const int flags = number == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (::fcntl(number, F_GETFD) == -1 && ::open("/dev/null", flags) != number) std::abort();
  }
}

void run(const CommandLine& line) {
  const Options& options = line.options;
  if (line.command == nullptr) return write_output(std::nullopt, line.help);
  direct_records(options.verbose);
  Notes notes(options.quiet);
  const Answer answer = line.command(options, notes);
  try {
    write_output(options.output, options.json ? answer.json : answer.data);
  } catch (const Failure& failure) {
    if (!answer.data.empty()) throw;
    throw Failure(failure.exit(), std::string(failure.what()) + "; the command itself is done");
  }
}

int fail(const std::exception& error, Exit exit) {
  std::cerr << "cci: " << shown_text::shown(error.what()) << std::endl;
  return static_cast<int>(exit);
}

}  // namespace

int main(int argc, char** argv) {
  reserve_standard_files();
  std::signal(SIGPIPE, SIG_IGN);  // write reports an error instead
  std::signal(SIGCHLD, SIG_DFL);  // if it were ignored, waiting for a child would fail
  try {
    run(parse(argc, argv));
    return static_cast<int>(Exit::kDone);
  } catch (const Failure& failure) {
    return fail(failure, failure.exit());
  } catch (const std::exception& error) {
    return fail(error, Exit::kNotDone);
  }
}
