// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <sstream>

#include "support/documented_texts.h"
#include "support/log_capture.h"
#include "support/log_contract.h"
#include "support/stored_file.h"

namespace ozk::tee {
namespace {

using ara::log::LogLevel;
using test_support::faultOfRecord;
using testing::StartsWith;

std::string sourcesOfTheLibrary() {
  std::string sources;
  for (const auto& file : test_support::sourcesIn("src")) sources += file.second;
  return sources;
}

TEST(LoggingTest, WhatTheDocumentHasIsInTheCode) {
  const std::string sources = sourcesOfTheLibrary();
  EXPECT_GT(test_support::documentedRecords().size(), 50U);
  for (const auto& record : test_support::documentedRecords()) {
    for (const auto& part : record.parts) {
      EXPECT_NE(sources.find(part), std::string::npos) << "no record in src/ has the text \"" << part << '"';
    }
  }
}

TEST(LoggingTest, WhatNoRecordMayTellIsFoundInOne) {
  EXPECT_EQ(faultOfRecord(LogLevel::kError, "Exception thrown : PKCS11 error 48"), "");
  EXPECT_THAT(faultOfRecord(LogLevel::kDebug, "Exception thrown : PKCS11 error 48"), StartsWith("is not in"));
  EXPECT_THAT(faultOfRecord(LogLevel::kError, "Exception thrown"), StartsWith("is not in"));
  for (const char* secret :
       {"PIN 40718293", "PIN 343037313832393300", "VIN WXY00TEEDEMO00001", "key 0123456789abcdef01234567",
        "-----BEGIN CERTIFICATE REQUEST----- MIIBETCBuAIBADAzMRYwFAYDVQQDDA1kZW1vLWRldmljZS0x"}) {
    EXPECT_THAT(faultOfRecord(LogLevel::kError, std::string("Exception thrown : ") + secret),
                StartsWith("tells what no record may tell"));
  }
}

// docs/failures.md is what a test finds: there is no failure of a token call that changes an answer and is
// told neither by an exception nor by a record.
TEST(LoggingTest, NoFailureThatChangesAnAnswerIsSilent) {
  std::istringstream page(test_support::storedText("docs/failures.md"));
  std::size_t failures = 0;
  for (std::string line; std::getline(page, line);) {
    std::vector<std::string> cells;
    std::istringstream row(line);
    for (std::string cell; std::getline(row, cell, '|');) cells.push_back(cell);
    const bool is_failure = cells.size() >= 4 && cells[1].rfind(" C_", 0) == 0;
    if (!is_failure || cells[2].find("throws") != std::string::npos || cells[3] != "  ") continue;
    ++failures;
    std::istringstream calls(cells[1]);
    for (std::string call; calls >> call;) {
      EXPECT_THAT(call, testing::MatchesRegex("(C_Logout|C_CloseSession|C_Finalize),?")) << line;
    }
  }
  EXPECT_GT(failures, 10U);
}

}  // namespace
}  // namespace ozk::tee
