// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/version.h>

#include <regex>

#include "api/client_cert_initializer.h"
#include "api/product_test.h"

namespace ozk::tee {

using namespace ::testing;

struct ClientCertInitializerTestAccess {
  ClientCertInitializer implementation;
};

// Records in short, one a line: "::" stands for "ClientCertInitializer::", "! " begins an error record.
std::string publicKeyFound(const std::string& which) {
  const std::string name = "::getLYRPublicKeyHandle : ";
  return name + "==>\n" + name + "Search " + which + "\n" + name + "count of public key found = 1\n" + name +
         "<==\n";
}
const std::string kPrivateKeyFound = "::getLYRPrivateKeyHandle : count of private key found = 1\n",
                  kChainFound =
                      "::getLYRCertificateChainHandle\n"
                      "::getLYRCertificateChainHandle : No of chain objects found = 1\n",
                  kSet = "::set_client_cert_and_move_key";

class RecordsTest : public ProductTest {
 protected:
  using Operation = std::function<void()>;

  std::string recordsOf(const Operation& operation) {
    log.take();
    operation();
    std::string records;
    for (const auto& [level, text] : log.take()) {
      records += (level == ara::log::LogLevel::kError ? "! " : "") + text + "\n";
    }
    return std::regex_replace(records, std::regex("ClientCertInitializer::"), "::");
  }

  const Operation generates = [this] { generate(); };
  const Operation requests = [this] { product->generate_csr("device", "LYR_CSR"); };
  const Operation removes = [this] { remove(); };
  const Operation signs_with_base = [this] { product->generate_signature("BASE", {}, ""); };
};

TEST_F(RecordsTest, OfSuccess) {
  EXPECT_EQ(recordsOf([] { const ClientCertInitializerTestAccess another; }),
            "Created an instance of CCI API Lib\nBotan version: " + Botan::short_version_string() + "\n");
  importTemporaryChain();
  EXPECT_EQ(recordsOf(generates), "::generate_private_key\n::deleteOldTemporaryKeys =>\n" + kChainFound +
                                      "::deleteOldTemporaryKeys return OK\n"
                                      "::generate_private_key succesfully deleted old temp keys\n"
                                      "::generate_private_key returning OK\n");
  EXPECT_EQ(recordsOf(requests), kPrivateKeyFound + "::generate_csr PRIVATE key Handle = 3\n" +
                                     publicKeyFound("LYR") + "::generate_csr PUBLIC key Handle = 2\n");
  provision("installed");
  importBaseKey();
  addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
  const auto others = [&] {
    ClientCertInitializerAPI::get_instance();  // without a record: it is created once
    product->generate_signature("LYR", {}, "");
    product->get_client_cert("LYR");
    removes();
    signs_with_base();
    product->get_root_cert_bundle("group");
  };
  EXPECT_EQ(recordsOf(others), kPrivateKeyFound + kChainFound + kSet + " ==>\n" + kSet +
                                   " Delete LYR certificate and keys\n" +
                                   publicKeyFound("Permanent Pub key") + kPrivateKeyFound + kChainFound +
                                   "::Getting Base Key Id\nAfter Private Key finding, Private count = 1\n"
                                   "::get_root_cert_bundle: ==>\n"
                                   "::get_root_cert_bundle :: get_root_cert_bundle: Certificates found: 1\n"
                                   "::get_root_cert_bundle: <==\n");
}

TEST_F(RecordsTest, OfAnInstallationThatTheTokenRefusesAndOfItsCleanUpThatFails) {
  const std::string chain = pem(provision("installed"));  // as objects 5, 6 and 4
  generate();                                             // 7 and 8
  spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR);
  EXPECT_EQ(recordsOf([&] { install(chain); }),
            kSet + " ==>\n" + publicKeyFound("LYR") + kSet + " TEMPorary PUBLIC key Handle = 7\n" +
                kPrivateKeyFound + kSet + " TEMPorary PRIVATE key Handle = 8\n" + kSet +
                " addHandleSize = 2\n" + "Handles in addHandle = 7\nHandles in addHandle = 8\n" + kSet +
                " after push addHandleSize = 3\nHandles in addHandle after push = 7\n" +
                "Handles in addHandle after push = 8\nHandles in addHandle after push = 9\n" + kSet +
                " chain handle = 9\n" + publicKeyFound("Permanent Pub key") + kSet +
                " PUBLIC key Handle = 5\n" + kSet + " Before getLYRPrivateKeyHandle\n" + kPrivateKeyFound +
                kSet + " PRIVATE key Handle = 6\n" + kSet + " After  getLYRPrivateKeyHandle\n" + kChainFound +
                "! " + kSet + " returned error\n" +
                "! LYR public session key delete fail, Exception thrown : PKCS11 error 48\n" +
                "! ::deleteSessionCertificateAndKeys returned error\n" + kSet + ": <==\n");
}

TEST_F(RecordsTest, OfNothingFoundAndOfRefusals) {
  EXPECT_THAT(recordsOf(requests), EndsWith(" = 0\n::generate_csr PRIVATE key Handle = 0\n"));
  EXPECT_THAT(recordsOf(signs_with_base), EndsWith("\n! ::generate_signature signature generation failed\n"));
  EXPECT_THAT(recordsOf([&] { product->generate_private_key("LYR"); }),
              EndsWith("\n! ::generate_private_key :: Invalid Key Id\n"));
  EXPECT_EQ(recordsOf([&] { product->set_client_cert_and_move_key("", "", ""); }), kSet + " ==>\n");
  EXPECT_THAT(recordsOf(generates), HasSubstr(" = 0\n::deleteOldTemporaryKeys return OK\n"));
}

TEST_F(RecordsTest, OfTokenCallsThatFail) {
  std::string chain;
  const Operation installs = [&] { install(chain); };
  // One failure each: of the first call of the function, the second, and the third.
  const std::tuple<Operation, const char*, std::vector<std::string>> cases[] = {
      {generates, "C_DestroyObject", {"temporary private key", "temporary public key", "temporary cert"}},
      {installs, "C_DestroyObject", {"public session key", "private session key", "session certificate"}},
      {removes, "C_DestroyObject", {"LYR public key", "LYR private key", "LYR certificate"}},
      {removes, "C_FindObjects", {"permanent LYR public", "permanent LYR private", "get LYR certificate"}},
      {requests, "C_FindObjects", {"temporary LYR private", "temporary LYR public"}},
      {signs_with_base, "C_FindObjects", {"permanent BASE private"}}};
  for (const auto& [operation, function, records] : cases) {
    for (unsigned nth = 1; nth <= records.size(); ++nth) {
      provision("installed");
      chain = pem(requestChain("next"));
      importTemporaryChain();
      spytoken().answer(function, CKR_DEVICE_ERROR, nth);
      EXPECT_THAT(recordsOf(operation), ContainsRegex("! [^\n]*" + records[nth - 1] + "[^\n]*error 48\n"));
      spytoken().stop_interfering();
    }
  }
}

}  // namespace ozk::tee
