// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

inline std::vector<std::string> LinesOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

/// Runs a shell script, in which "writer" is the program log-writer, and which must succeed. Returns its
/// stderr.
inline std::vector<std::string> StderrOf(const std::string& script) {
  const test_support::TemporaryFolder folder;
  const std::string path = folder.path() / "script";
  std::ofstream(path) << "writer() { '" LOG_WRITER "' \"$@\"; }\n" << script;
  EXPECT_EQ(std::system(("sh " + path + " 2>" + path + ".stderr").c_str()), 0) << script;
  return LinesOf(path + ".stderr");
}
