// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace test_support {

/// A folder of mode 0700 that is gone, with all that is in it, when this object is. In memory, unless TMPDIR
/// says where: a token syncs each change, and tests make many.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    const std::filesystem::path memory = "/dev/shm";
    const bool in_memory = std::getenv("TMPDIR") == nullptr && std::filesystem::is_directory(memory);
    const auto parent = in_memory ? memory : std::filesystem::temp_directory_path();
    std::string pattern = (parent / "cci-test-XXXXXX").string();
    if (::mkdtemp(&pattern[0]) == nullptr) {
      throw std::runtime_error("cannot make a temporary folder like " + pattern);
    }
    m_path = std::filesystem::canonical(pattern);  // as the system tells of its files
  }

  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return m_path; }

 private:
  std::filesystem::path m_path;
};

}  // namespace test_support
