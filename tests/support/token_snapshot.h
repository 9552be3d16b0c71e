// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <filesystem>
#include <memory>
#include <utility>

#include "support/temporary_folder.h"

namespace test_support {

/// The files of a token's folder as they were, while no module has them open.
class TokenSnapshot {
 public:
  explicit TokenSnapshot(std::filesystem::path folder) : m_folder(std::move(folder)) {
    std::filesystem::copy(m_folder, m_copy->path(), std::filesystem::copy_options::recursive);
  }

  void restore() const {
    for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
      std::filesystem::remove_all(entry.path());
    }
    std::filesystem::copy(m_copy->path(), m_folder, std::filesystem::copy_options::recursive);
  }

 private:
  std::filesystem::path m_folder;
  std::shared_ptr<TemporaryFolder> m_copy = std::make_shared<TemporaryFolder>();
};

}  // namespace test_support
