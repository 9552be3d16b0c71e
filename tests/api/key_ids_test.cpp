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

TEST_F(ProductTest, WithoutATokenNothingFaults) {
  ::setenv("TEE_TOKEN_DIR", (token.path() / "nowhere").c_str(), 1);
  EXPECT_EQ(product->generate_private_key("LYR"), ResultCode::INVALID_KEY_ID);
  EXPECT_EQ(generate(), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "LYR_CSR", "BASE"), ResultCode::INVALID_KEY_ID);
  EXPECT_EQ(install(""), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(remove(), ResultCode::CRYPTO_OP_ERROR);
  for (const std::string key_id : {"LYR", "LYR_CSR", "BASE", "ZEMP"}) {
    EXPECT_TRUE(product->generate_csr("name", key_id).empty()) << key_id;
    EXPECT_TRUE(product->generate_signature(key_id, {1}, "").empty()) << key_id;
    EXPECT_EQ(product->get_public_key(key_id) + product->get_client_cert(key_id), "") << key_id;
  }
  EXPECT_EQ(product->get_zemp_vin() + product->get_root_cert_bundle("backend"), "");
}

}  // namespace ozk::tee
