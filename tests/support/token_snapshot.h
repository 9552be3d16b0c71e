#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

namespace test_support {

/// The files of a token's folder as they were, while no module has them open.
class TokenSnapshot {
 public:
  explicit TokenSnapshot(std::filesystem::path folder) : m_folder(std::move(folder)) {
    for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
      std::ifstream file(entry.path(), std::ios::binary);
      m_files[entry.path().filename()] = {std::istreambuf_iterator<char>(file), {}};
    }
  }

  /// Puts them back, and nothing else.
  void restore() const {
    namespace fs = std::filesystem;
    for (const auto& entry : fs::directory_iterator(m_folder)) {
      if (m_files.count(entry.path().filename()) == 0) fs::remove(entry.path());
    }
    for (const auto& [name, content] : m_files) {
      std::ofstream file(m_folder / name, std::ios::binary);
      if (!(file << content).flush()) throw std::runtime_error("cannot write " + name);
      fs::permissions(m_folder / name, fs::perms::owner_read | fs::perms::owner_write);
    }
  }

 private:
  std::filesystem::path m_folder;
  std::map<std::string, std::string> m_files;
};

}  // namespace test_support
