// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace test_support {

/// A folder of mode 0700 that is gone, with all that is in it, when this object is. In memory, unless TMPDIR
/// says where: a token syncs each change, and tests make many.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::getenv("TMPDIR") != nullptr ? std::getenv("TMPDIR") : "/dev/shm";
    name += "/cci-test-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    m_path = std::filesystem::canonical(name);  // as the system tells of its files
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
