// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <ara/log/logging.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

#include "commands.h"
#include "failure.h"
#include "input_output.h"
#include "json.h"
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

/// Botan locks 512 kB of memory for secrets in 128 steps, a quarter of the time of a short command; the PIN,
/// the only secret here, needs a few bytes.
void lock_little_memory() { ::setenv("BOTAN_MLOCK_POOL_SIZE", "16", 0); }

Exit run(const CommandLine& line) {
  const Options& options = line.options;
  if (line.command == nullptr) {
    write_output(std::nullopt, line.help);
    return Exit::kDone;
  }
  direct_records(options.verbose);
  Notes notes(options.quiet);
  const Answer answer = line.command(options, notes);
  try {
    write_output(options.output, options.json ? answer.json : answer.data);
  } catch (const Failure& failure) {
    if (!answer.data.empty()) throw;
    throw Failure(failure.exit(), std::string(failure.what()) + "; the command itself is done");
  }
  return answer.exit;
}

void write_line(const std::string& text) { std::cerr << "cci: " << shown_text::shown(text) << std::endl; }

int fail(const Failure& failure, bool json) {
  write_line(failure.what());
  if (!failure.state().empty()) write_line(failure.state());
  if (json) std::cout << json_of_failure(failure) << std::flush;
  return static_cast<int>(failure.exit());
}

}  // namespace

int main(int argc, char** argv) {
  reserve_standard_files();
  lock_little_memory();
  std::signal(SIGPIPE, SIG_IGN);  // write reports an error instead
  std::signal(SIGCHLD, SIG_DFL);  // if it were ignored, waiting for a child would fail
  // A wrong command line, too, is answered in JSON.
  const bool json = std::find(argv, argv + argc, std::string("--json")) != argv + argc;
  try {
    return static_cast<int>(run(parse(argc, argv)));
  } catch (const Failure& failure) {
    return fail(failure, json);
  } catch (const std::exception& error) {
    return fail(Failure(Exit::kNotDone, error.what()), json);
  }
}
