// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "exit_code.h"

#include <algorithm>
#include <iterator>

namespace cci {
namespace {

// The numbers that tee-token has, too, mean the same there.
const struct {
  Exit exit;
  int code;
  const char* meaning;
} kExitCodes[] = {
    {Exit::kDone, 0, "done"},
    {Exit::kNotDone, 1, "cannot write"},
    {Exit::kUsage, 2, "usage"},
    {Exit::kPin, 3, "wrong or locked PIN"},
    {Exit::kNoToken, 4, "no token"},
    {Exit::kTokenFailed, 5, "token failed"},
    {Exit::kNotFound, 6, "not found"},
    {Exit::kRefused, 7, "refused"},
    {Exit::kBackendFailed, 8, "backend failed"},
    {Exit::kInput, 9, "input unreadable"},
};

constexpr std::size_t kLineLength = 80;

}  // namespace

int exit_code_of(Exit exit) {
  return std::find_if(std::begin(kExitCodes), std::end(kExitCodes),
                      [exit](const auto& row) { return row.exit == exit; })
      ->code;
}

std::string help_on_exit_codes() {
  std::string text, line = "Exit code:";
  for (const auto& row : kExitCodes) {
    const std::string words = " " + std::to_string(row.code) + " " + row.meaning + ",";
    if (line.size() + words.size() > kLineLength) {
      text += line + "\n";
      line.clear();
    }
    line += line.empty() ? words.substr(1) : words;
  }
  line.pop_back();
  return text + line;
}

}  // namespace cci
