// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

namespace ozk::tee {

TEST_F(ProductTest, OtherKeyIdentifiersAreRefusedAndNothingChanges) {
  provision("installed");
  importBaseKey();
  const std::string chain = pem(requestChain("temporary"));
  const auto set = [&](const std::string& answer, const std::string& temporary, const std::string& id) {
    return product->set_client_cert_and_move_key(answer, temporary, id) == ResultCode::INVALID_KEY_ID;
  };
  using Id = const std::string&;
  const std::pair<std::set<std::string>, std::function<bool(Id)>> operations[] = {
      {{"LYR_CSR"}, [&](Id id) { return product->generate_private_key(id) == ResultCode::INVALID_KEY_ID; }},
      {{"LYR_CSR"}, [&](Id id) { return product->generate_csr("device", id).empty(); }},
      {{"LYR_CSR"}, [&](Id id) { return set(chain, id, "LYR"); }},
      {{"LYR_CSR", ""}, [&](Id id) { return set("", id, "LYR"); }},
      {{"LYR"},
       [&](Id id) { return set(chain, "LYR_CSR", id) && set("", "LYR_CSR", id) && set("", "", id); }},
      {{"LYR", "BASE"}, [&](Id id) { return product->generate_signature(id, {1}, "").empty(); }},
      {{"LYR", "LYR_CSR"}, [&](Id id) { return product->get_public_key(id).empty(); }},
      {{"LYR", "BASE", "ZEMP"}, [&](Id id) { return product->get_client_cert(id).empty(); }}};
  const auto before = TokenContent::now();
  for (std::size_t i = 0; i < std::size(operations); ++i) {
    const auto& [accepted, refuses] = operations[i];
    for (const char* id : {"LYR", "LYR_CSR", "BASE", "ZEMP", "lyr", "LYR ", "LYR_CSR ", ""}) {
      EXPECT_TRUE(accepted.count(id) != 0 || refuses(id)) << i << ' ' << id;
    }
  }
  const auto after = TokenContent::now();
  EXPECT_EQ(std::tie(after.installed, after.temporary), std::tie(before.installed, before.temporary));
}

}  // namespace ozk::tee
