// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/templates.h"

#include <gmock/gmock.h>

namespace ozk::tee {

TEST(ObjectLabelTest, IsTheGroupsLowByteThenTheIndexInLittleEndian) {
  const std::pair<const char*, std::vector<std::uint8_t>> cases[] = {
      {"10_102", {0x0A, 0x66, 0, 0, 0}},
      {"2_305419896", {2, 0x78, 0x56, 0x34, 0x12}},
      {"257_-2", {1, 0xFE, 0xFF, 0xFF, 0xFF}},
      {" 1_+2_3x", {1, 2, 0, 0, 0}},
      {"111", {}}};
  for (const auto& [text, label] : cases) EXPECT_EQ(Botan::unlock(labelFromText(text)), label) << text;
  for (const char* text : {"1_x", "_1"}) EXPECT_THROW(labelFromText(text), std::invalid_argument) << text;
  EXPECT_THROW(labelFromText("1_4294967296"), std::out_of_range);
}

}  // namespace ozk::tee
