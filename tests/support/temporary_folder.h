#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace test_support {

/// A folder of mode 0700 that is gone, with all that is in it, when this object is.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "cci-test-XXXXXX").string();
    if (::mkdtemp(&pattern[0]) == nullptr) {
      throw std::runtime_error("cannot make a temporary folder like " + pattern);
    }
    m_path = pattern;
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
