// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace test_support {

/// The text of the file `path` of the project, relative to its folder.
inline std::string storedText(const std::string& path) {
  std::ifstream stream(CCI_PROJECT_FOLDER "/" + path, std::ios::binary);
  EXPECT_TRUE(stream.is_open()) << "cannot read " << path;
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Fails unless the file `path` of the project holds exactly `text`.
inline void expectStored(const std::string& path, const std::string& text) {
  EXPECT_EQ(storedText(path), text) << path;
}

}  // namespace test_support
