// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/journal.h"

namespace ozk::tee {

TEST_F(JournalTest, GetZempVin) {
  const std::string vin("WVWZZZ1JZXW000001\0", 18);
  const auto import = [](std::uint32_t index, const std::string& value) {
    test_support::UserSession session;
    test_support::importData(*session, {label(2, index)}, value);
  };
  const auto read_vin = [&](const std::string& expected) {
    return [&, expected] { EXPECT_EQ(product->get_zemp_vin(), expected); };
  };
  const Template sought = {labelled("0201000000"), objectClass(CKO_DATA)};
  import(2, "of another label");
  expectInSession(read_vin(""), searched(sought, {}) + finished());
  import(1, vin);
  import(1, "a second one");
  expectInSession(read_vin(vin), searched(sought, {2, 3}) + read(2, CKA_VALUE, 18) + finished());
}

}  // namespace ozk::tee
