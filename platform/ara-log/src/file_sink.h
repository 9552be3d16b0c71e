// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "text_sink.h"

namespace ara::log::host {

/// Appends records to a file, which is made, for its owner alone, if it is not there. Several processes may
/// share it.
class FileSink final : public TextSink {
 public:
  /// Throws std::system_error when the file cannot be opened.
  explicit FileSink(const std::string& path);
  ~FileSink() override;

  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;
};

}  // namespace ara::log::host
