// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "records.h"

#include <ara/log/logging.h>

#include <cstdlib>
#include <string>

namespace cci {
namespace {

const char kVariable[] = "ARA_LOG_SINK";

std::string sinks(const std::string& wanted, bool to_stderr) {
  if (!to_stderr) return wanted.empty() ? "none" : wanted;
  const bool is_there = ("," + wanted + ",").find(",console,") != std::string::npos;
  return is_there ? wanted : wanted + ",console";
}

}  // namespace

void direct_records(bool to_stderr) {
  const char* const setting = std::getenv(kVariable);
  const std::string before = setting == nullptr ? "" : setting;
  ::setenv(kVariable, sinks(before, to_stderr).c_str(), 1);
  // The environment is read here. The library then gets this logger, which it names like that.
  ara::log::CreateLogger("CCIA", "default context of CCI API",
                         to_stderr ? ara::log::LogLevel::kDebug : ara::log::LogLevel::kWarn);
  // Programs that are started later are not concerned.
  if (setting == nullptr) {
    ::unsetenv(kVariable);
  } else {
    ::setenv(kVariable, before.c_str(), 1);
  }
}

}  // namespace cci
