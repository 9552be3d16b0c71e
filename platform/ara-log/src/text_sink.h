// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

namespace ara::log::host {

/// Writes each record as one line of text to a file descriptor, which stays the caller's. With stderr it is
/// the console.
class TextSink : public Sink {
 public:
  explicit TextSink(int descriptor) noexcept : m_descriptor(descriptor) {}

  bool Write(const Record& record) override;

 protected:
  const int m_descriptor;

 private:
  bool m_line_is_torn = false;
};

}  // namespace ara::log::host
