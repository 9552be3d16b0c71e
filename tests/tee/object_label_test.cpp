// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/templates.h"

#include <gmock/gmock.h>

namespace ozk::tee {

TEST(ObjectLabelTest, IsTheGroupsLowByteThenTheIndexInLittleEndian) {
  const struct {
    const char* text;
    std::vector<std::uint8_t> label;
  } cases[] = {{"10_102", {0x0A, 0x66, 0, 0, 0}},
               {"2_305419896", {2, 0x78, 0x56, 0x34, 0x12}},
               {"257_1", {1, 1, 0, 0, 0}},
               {"1_-2", {1, 0xFE, 0xFF, 0xFF, 0xFF}},
               {"1_2_3", {1, 2, 0, 0, 0}},
               {" 1_+2x", {1, 2, 0, 0, 0}},
               {"111", {}},
               {"", {}}};
  for (const auto& c : cases) EXPECT_EQ(Botan::unlock(labelFromText(c.text)), c.label) << c.text;
}

TEST(ObjectLabelTest, RefusesWhatIsNoNumber) {
  EXPECT_THROW(labelFromText("1_x"), std::invalid_argument);
  EXPECT_THROW(labelFromText("_1"), std::invalid_argument);
  EXPECT_THROW(labelFromText("1_4294967296"), std::out_of_range);
}

}  // namespace ozk::tee
