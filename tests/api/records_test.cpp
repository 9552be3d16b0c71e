// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/version.h>

#include "api/product_test.h"

namespace ozk::tee {

/// Records in short: "::" stands for "ClientCertInitializer::", "! " begins an error record.
using Records = std::vector<std::string>;

Records operator+(Records first, const Records& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Records publicKeyLookup(const std::string& which, const std::string& count) {
  const std::string name = "::getLYRPublicKeyHandle : ";
  return {name + "==>", name + "Search " + which, name + "count of public key found = " + count,
          name + "<=="};
}
const Records kTemporaryKeyFound = publicKeyLookup("LYR", "1"),
              kInstalledKeyFound = publicKeyLookup("Permanent Pub key", "1"),
              kPrivateKeyFound = {"::getLYRPrivateKeyHandle : count of private key found = 1"},
              kChainFound = {"::getLYRCertificateChainHandle",
                             "::getLYRCertificateChainHandle : No of chain objects found = 1"};
const std::string kSet = "::set_client_cert_and_move_key", kRequest = "::generate_csr ";
const Bytes kGarbage = {0x30, 0x03, 1, 2, 3};

class RecordsTest : public ProductTest {
 protected:
  using Operation = std::function<void()>;

  Records recordsOf(const Operation& operation) {
    log.take();
    try {
      operation();
    } catch (const Botan::PKCS11::PKCS11_ReturnError&) {
    }
    Records records;
    for (const auto& [level, text] : log.take()) {
      const std::size_t prefix = text.compare(0, 23, "ClientCertInitializer::") == 0 ? 21 : 0;
      records.push_back((level == ara::log::LogLevel::kError ? "! " : "") + text.substr(prefix));
    }
    return records;
  }

  const Operation generate = [this] { product->generate_private_key("LYR_CSR"); };
  const Operation request = [this] { product->generate_csr("device", "LYR_CSR"); };
  const Operation sign = [this] { product->generate_signature("LYR", {}, ""); };
  const Operation sign_with_base = [this] { product->generate_signature("BASE", {}, ""); };
  const Operation remove = [this] { product->set_client_cert_and_move_key("", "", "LYR"); };
  const Operation read_chain = [this] { product->get_client_cert("LYR"); };
  const Operation read_zemp = [this] { product->get_client_cert("ZEMP"); };
  const Operation read_roots = [this] { product->get_root_cert_bundle("group"); };
};

TEST_F(RecordsTest, OfSuccess) {
  EXPECT_THAT(
      recordsOf([] { const ClientCertInitializerTestAccess fresh; }),
      ElementsAre("Created an instance of CCI API Lib", "Botan version: " + Botan::short_version_string()));
  test_support::importChain(*test_support::UserSession(), {label(10, 102), "CCI_CLIENT", "LYR"}, {});
  EXPECT_EQ(recordsOf(generate), Records({"::generate_private_key", "::deleteOldTemporaryKeys =>"}) +
                                     kChainFound +
                                     Records({"::deleteOldTemporaryKeys return OK",
                                              "::generate_private_key succesfully deleted old temp keys",
                                              "::generate_private_key returning OK"}));
  EXPECT_EQ(recordsOf(request), kPrivateKeyFound + Records{kRequest + "PRIVATE key Handle = 3"} +
                                    kTemporaryKeyFound + Records{kRequest + "PUBLIC key Handle = 2"});
  provision("installed");
  EXPECT_EQ(recordsOf(sign), kPrivateKeyFound);
  EXPECT_EQ(recordsOf(read_chain), kChainFound);
  EXPECT_EQ(recordsOf(remove), Records({kSet + " ==>", kSet + " Delete LYR certificate and keys"}) +
                                   kInstalledKeyFound + kPrivateKeyFound + kChainFound);
  importBaseKey();
  EXPECT_EQ(recordsOf(sign_with_base),
            Records({"::Getting Base Key Id", "After Private Key finding, Private count = 1"}));
  test_support::addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
  const std::string roots = "::get_root_cert_bundle";
  EXPECT_EQ(
      recordsOf(read_roots),
      Records({roots + ": ==>", roots + " :: get_root_cert_bundle: Certificates found: 1", roots + ": <=="}));
}

TEST_F(RecordsTest, OfAnInstallationThatTheTokenRefuses) {
  const auto chain = provision("installed");  // as objects 5, 6 and 4
  generate();                                 // 7 and 8
  EXPECT_EQ(recordsOf([&] { install(chain); }),
            Records{kSet + " ==>"} + kTemporaryKeyFound + Records{kSet + " TEMPorary PUBLIC key Handle = 7"} +
                kPrivateKeyFound +
                Records({kSet + " TEMPorary PRIVATE key Handle = 8", kSet + " addHandleSize = 2",
                         "Handles in addHandle = 7", "Handles in addHandle = 8",
                         kSet + " after push addHandleSize = 3", "Handles in addHandle after push = 7",
                         "Handles in addHandle after push = 8", "Handles in addHandle after push = 9",
                         kSet + " chain handle = 9"}) +
                kInstalledKeyFound +
                Records({kSet + " PUBLIC key Handle = 5", kSet + " Before getLYRPrivateKeyHandle"}) +
                kPrivateKeyFound +
                Records({kSet + " PRIVATE key Handle = 6", kSet + " After  getLYRPrivateKeyHandle"}) +
                kChainFound + Records({"! " + kSet + " returned error", kSet + ": <=="}));
}

TEST_F(RecordsTest, OfNothingFoundAndOfRefusals) {
  test_support::importCertificate(*test_support::UserSession(), {label(1, 12)}, {kGarbage, kGarbage});
  const std::pair<Operation, std::string> cases[] = {
      {request, kRequest + "PRIVATE key Handle = 0"},
      {sign, "::getLYRPrivateKeyHandle : count of private key found = 0"},
      {sign_with_base, "! ::generate_signature signature generation failed"},
      {read_zemp, "! Exception thrown : CERTIFICATE decoding failed with BER: Value truncated"},
      {[&] { product->generate_private_key("LYR"); }, "! ::generate_private_key :: Invalid Key Id"},
      {[&] { product->set_client_cert_and_move_key("", "", ""); }, kSet + " ==>"}};
  for (const auto& [operation, last] : cases) {
    const Records records = recordsOf(operation);
    ASSERT_FALSE(records.empty()) << last;
    EXPECT_EQ(records.back(), last);
  }
  for (const char* key_id : {"LYR_CSR", "ZEMP", ""}) {
    EXPECT_EQ(recordsOf([&] { product->generate_signature(key_id, {}, ""); }), Records()) << key_id;
  }
}

TEST_F(RecordsTest, OfTokenCallsThatFail) {
  const std::string damaged = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
  std::string answer;
  const Operation install_answer = [&] { product->set_client_cert_and_move_key(answer, "LYR_CSR", "LYR"); };
  const Operation read_key = [&] { product->get_public_key("LYR"); };
  const Operation read_temporary_key = [&] { product->get_public_key("LYR_CSR"); };
  const auto deletion = [](const std::string& what) {
    return "LYR " + what + " delete fail, Exception thrown : ";
  };
  const auto lookup = [](const std::string& what) {
    return "Exception to get " + what + " handle with exception ";
  };
  const struct {
    Operation operation;
    const char* function;
    unsigned nth;
    std::string record;
  } cases[] = {{generate, "C_DestroyObject", 1, deletion("temporary private key")},
               {generate, "C_DestroyObject", 2, deletion("temporary public key")},
               {generate, "C_DestroyObject", 3, deletion("temporary certificate")},
               {generate, "C_GenerateKeyPair", 1, "Failed to generate ECDSA keypair with exception "},
               {install_answer, "C_CreateObject", 1, "Exception thrown : "},
               {install_answer, "C_DestroyObject", 1, deletion("public session key")},
               {install_answer, "C_DestroyObject", 2, deletion("private session key")},
               {install_answer, "C_DestroyObject", 3, deletion("session certificate")},
               {remove, "C_DestroyObject", 1, deletion("public key")},
               {remove, "C_DestroyObject", 2, deletion("private key")},
               {remove, "C_DestroyObject", 3, deletion("certificate")},
               {read_key, "C_FindObjects", 1, lookup("permanent LYR public key")},
               {read_temporary_key, "C_FindObjects", 1, lookup("temporary LYR public key")},
               {sign, "C_FindObjects", 1, lookup("permanent LYR private key")},
               {request, "C_FindObjects", 1, lookup("temporary LYR private key")},
               {sign_with_base, "C_FindObjects", 1, lookup("permanent BASE private key")},
               {read_chain, "C_FindObjects", 1, lookup("LYR certificate chain")}};
  for (const auto& c : cases) {
    provision("installed");
    answer = damaged + pem(requestChain("next"));
    test_support::importChain(*test_support::UserSession(), {label(10, 102), "CCI_CLIENT", "LYR"}, {});
    spytoken().answer(c.function, CKR_DEVICE_ERROR, c.nth);
    EXPECT_THAT(recordsOf(c.operation), ::testing::Contains("! " + c.record + "PKCS11 error 48"));
    spytoken().stop_interfering();
  }
  spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, 1);
  const auto records = recordsOf(install_answer);
  EXPECT_EQ(records.at(1), "! ::getCertificates: failed to decode certificate");
  EXPECT_EQ(records.at(records.size() - 2), "! ::deleteSessionCertificateAndKeys returned error");
}

}  // namespace ozk::tee
