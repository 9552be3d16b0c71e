// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace test_support {

/// Where two texts differ first: number of the line, and the line in each.
inline std::string firstDifference(const std::string& stored, const std::string& text) {
  std::istringstream stored_lines(stored), lines(text);
  std::string before, now;
  int number = 0;
  do {
    ++number;
    before = now = "(end)";
    std::getline(stored_lines, before);
    std::getline(lines, now);
  } while (before == now && stored_lines && lines);
  return std::to_string(number) + ": stored is\n  " + before + "\nbut it should be\n  " + now;
}

/// The text of the file `path` of the project, relative to its folder.
inline std::string storedText(const std::string& path) {
  std::ifstream stream(CCI_PROJECT_FOLDER "/" + path, std::ios::binary);
  EXPECT_TRUE(stream.is_open()) << "cannot read " << path << "; ./run accept writes what is written by tests";
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Fails unless the file `path` of the project, relative to its folder, holds exactly `text`. With
/// CCI_ACCEPT=1 in the environment, writes it instead.
inline void expectStored(const std::string& path, const std::string& text) {
  const std::string file = CCI_PROJECT_FOLDER "/" + path;
  const char* const accept = std::getenv("CCI_ACCEPT");
  if (accept != nullptr && std::string(accept) == "1") {
    ASSERT_TRUE((std::ofstream(file, std::ios::binary) << text).flush()) << "cannot write " << file;
    return;
  }
  const std::string stored = storedText(path);
  if (stored != text) {
    ADD_FAILURE() << path << ':' << firstDifference(stored, text)
                  << "\nif that change is meant, ./run accept stores it";
  }
}

// REUSE-IgnoreStart
/// The same for a page of the documents that no hand writes: it has the notice that other pages have.
inline void expectPage(const std::string& path, const std::string& text) {
  const std::string notice =
      "<!--\nSPDX-FileCopyrightText: 2026 the authors of client-cert-initializer\n"
      "SPDX-License-Identifier: Apache-2.0\n-->\n\n";
  expectStored(path, notice + text);
}
// REUSE-IgnoreEnd

}  // namespace test_support
