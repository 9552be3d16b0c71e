// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace test_support {

/// The files of a token's folder as they were, while no module has them open.
class TokenSnapshot {
 public:
  explicit TokenSnapshot(std::filesystem::path folder) : m_folder(std::move(folder)) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder)) {
      auto& content = m_entries[entry.path()];
      if (entry.is_directory()) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      content.emplace(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
  }

  /// Puts them back, and nothing else.
  void restore() const {
    namespace fs = std::filesystem;
    for (const auto& entry : fs::directory_iterator(m_folder)) {
      const auto kept = m_entries.find(entry.path());
      if (kept == m_entries.end() || !kept->second) fs::remove_all(entry.path());
    }
    for (const auto& [path, content] : m_entries) {
      if (!content) {
        fs::create_directory(path);
        fs::permissions(path, fs::perms::owner_all);
        continue;
      }
      std::ofstream file(path, std::ios::binary);
      if (!(file << *content).flush()) throw std::runtime_error("cannot write " + path);
      fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
    }
  }

 private:
  std::filesystem::path m_folder;
  std::map<std::string, std::optional<std::string>> m_entries;  // contents by path; a folder has none
};

}  // namespace test_support
