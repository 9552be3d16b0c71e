// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "text_sink.h"

#include <string>

#include "quiet_write.h"
#include "text_line.h"

namespace ara::log::host {

bool TextSink::Write(const Record& record) {
  std::string line = TextLine(record);
  // Where a disk became full in the middle of a line, the next record still begins one of its own.
  if (m_line_is_torn) line.insert(0, 1, '\n');
  const Written written = QuietWrite(m_descriptor, line);
  if (written != Written::kNothing) m_line_is_torn = written == Written::kPart;
  return written == Written::kAll;
}

}  // namespace ara::log::host
