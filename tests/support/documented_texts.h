// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

namespace test_support {

/// The texts, one in each row, of the tables of `page` whose first column is of texts as programs write them.
/// "..." in them stands for what varies.
inline std::vector<std::string> documentedTexts(const std::string& page) {
  static const std::regex row("\n\\| `([^`]+)` \\|");
  std::vector<std::string> found;
  for (std::sregex_iterator at(page.begin(), page.end(), row), end; at != end; ++at)
    found.push_back((*at)[1]);
  return found;
}

/// What is between what varies, in its order.
inline std::vector<std::string> partsOf(std::string text) {
  std::vector<std::string> parts;
  for (std::size_t at = 0; (at = text.find("...")) != std::string::npos;) {
    parts.push_back(text.substr(0, at));
    text.erase(0, at + 3);
  }
  parts.push_back(text);
  return parts;
}

/// The C++ sources in the folder `path` of the project and below it, by their file names.
inline std::multimap<std::string, std::string> sourcesIn(const std::string& path) {
  std::multimap<std::string, std::string> sources;
  for (const auto& file : std::filesystem::recursive_directory_iterator(CCI_PROJECT_FOLDER "/" + path)) {
    const auto& extension = file.path().extension();
    if (extension != ".cpp" && extension != ".h") continue;
    std::ifstream stream(file.path(), std::ios::binary);
    sources.emplace(file.path().filename(), std::string(std::istreambuf_iterator<char>(stream), {}));
  }
  return sources;
}

}  // namespace test_support
