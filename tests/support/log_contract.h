// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/common.h>

#include <string>
#include <vector>

namespace test_support {

/// What docs/logging.md says of one record.
struct DocumentedRecord {
  bool is_error;
  std::vector<std::string> parts;  ///< the texts between what varies, in their order
};

/// All records of docs/logging.md.
const std::vector<DocumentedRecord>& documentedRecords();

/// What is wrong with a record of the library: that docs/logging.md does not have it, or that it tells what
/// no record may tell. Empty when nothing is.
std::string faultOfRecord(ara::log::LogLevel level, const std::string& text);

}  // namespace test_support
