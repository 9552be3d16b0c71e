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

Records publicKeyLookup(const std::string& which, int count) {
  const std::string name = "::getLYRPublicKeyHandle : ";
  return {name + "==>", name + "Search " + which,
          name + "count of public key found = " + std::to_string(count), name + "<=="};
}
Records temporaryKeyLookup(int count) { return publicKeyLookup("LYR", count); }
Records installedKeyLookup(int count) { return publicKeyLookup("Permanent Pub key", count); }
Records privateKeyLookup(int count) {
  return {"::getLYRPrivateKeyHandle : count of private key found = " + std::to_string(count)};
}
Records chainLookup(int count) {
  const std::string name = "::getLYRCertificateChainHandle";
  return {name, name + " : No of chain objects found = " + std::to_string(count)};
}
Records notDeleted(const std::string& what) {
  return {"! LYR " + what + " delete fail, Exception thrown : PKCS11 error 48"};
}

const std::string kSet = "::set_client_cert_and_move_key",
                  kDamaged = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";

class RecordsTest : public ProductTest {
 protected:
  Records recordsOf(const std::function<void()>& operation) {
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
  /// The same when the `nth` call of `function` fails.
  Records recordsOf(const std::function<void()>& operation, const char* function, unsigned nth) {
    spytoken().answer(function, CKR_DEVICE_ERROR, nth);
    const auto records = recordsOf(operation);
    spytoken().stop_interfering();
    return records;
  }

  const std::function<void()> generate = [this] { product->generate_private_key("LYR_CSR"); };
  const std::function<void()> request = [this] { product->generate_csr("device", "LYR_CSR"); };
  const std::function<void()> sign = [this] { product->generate_signature("LYR", {}, ""); };
  const std::function<void()> sign_with_base = [this] { product->generate_signature("BASE", {}, ""); };
  const std::function<void()> read_chain = [this] { product->get_client_cert("LYR"); };
  const std::function<void()> remove = [this] { product->set_client_cert_and_move_key("", "", "LYR"); };
};

TEST_F(RecordsTest, OfTheInstance) {
  EXPECT_EQ(
      recordsOf([] { const ClientCertInitializerTestAccess fresh; }),
      Records({"Created an instance of CCI API Lib", "Botan version: " + Botan::short_version_string()}));
  EXPECT_EQ(recordsOf([] { ClientCertInitializerAPI::get_instance(); }), Records());
}

TEST_F(RecordsTest, OfGenerations) {
  const Records begun = {"::generate_private_key", "::deleteOldTemporaryKeys =>"};
  const Records cleaned = {"::deleteOldTemporaryKeys return OK",
                           "::generate_private_key succesfully deleted old temp keys"};
  const Records generated = {"::generate_private_key returning OK"};
  EXPECT_EQ(recordsOf([&] { product->generate_private_key("LYR"); }),
            Records({"::generate_private_key", "! ::generate_private_key :: Invalid Key Id"}));
  EXPECT_EQ(recordsOf(generate), begun + chainLookup(0) + cleaned + generated);
  test_support::importChain(*test_support::UserSession(), {label(10, 102), "CCI_CLIENT", "LYR"}, {});
  EXPECT_EQ(recordsOf(generate, "C_DestroyObject", 3),
            begun + chainLookup(1) + notDeleted("temporary certificate") + generated);
  EXPECT_EQ(recordsOf(generate, "C_DestroyObject", 2),
            begun + notDeleted("temporary public key") + generated);
  EXPECT_EQ(recordsOf(generate, "C_DestroyObject", 1),
            begun + notDeleted("temporary private key") + generated);
  EXPECT_EQ(recordsOf(generate, "C_GenerateKeyPair", 1),
            begun + chainLookup(1) + cleaned +
                Records{"! Failed to generate ECDSA keypair with exception PKCS11 error 48"});
}

TEST_F(RecordsTest, OfRequests) {
  const std::string found_private = "::generate_csr PRIVATE key Handle = ",
                    found_public = "::generate_csr PUBLIC key Handle = ";
  EXPECT_EQ(recordsOf(request), privateKeyLookup(0) + Records{found_private + "0"});
  generate();
  EXPECT_EQ(recordsOf(request), privateKeyLookup(1) + Records{found_private + "2"} + temporaryKeyLookup(1) +
                                    Records{found_public + "1"});
}

TEST_F(RecordsTest, OfInstallations) {
  const Records refused = {"! " + kSet + " returned error"}, ended = {kSet + ": <=="};
  const auto chain = provision("installed");  // as objects 5, 6 and 4
  generate();                                 // 7 and 8
  EXPECT_EQ(recordsOf([&] { install(chain); }),
            Records{kSet + " ==>"} + temporaryKeyLookup(1) +
                Records{kSet + " TEMPorary PUBLIC key Handle = 7"} + privateKeyLookup(1) +
                Records({kSet + " TEMPorary PRIVATE key Handle = 8", kSet + " addHandleSize = 2",
                         "Handles in addHandle = 7", "Handles in addHandle = 8",
                         kSet + " after push addHandleSize = 3", "Handles in addHandle after push = 7",
                         "Handles in addHandle after push = 8", "Handles in addHandle after push = 9",
                         kSet + " chain handle = 9"}) +
                installedKeyLookup(1) +
                Records({kSet + " PUBLIC key Handle = 5", kSet + " Before getLYRPrivateKeyHandle"}) +
                privateKeyLookup(1) +
                Records({kSet + " PRIVATE key Handle = 6", kSet + " After  getLYRPrivateKeyHandle"}) +
                chainLookup(1) + refused + ended);
  const char* const kinds[] = {"public session key", "private session key", "session certificate"};
  for (unsigned nth = 1; nth <= 3; ++nth) {
    const auto next = requestChain("next");
    const auto records = recordsOf([&] { install(next); }, "C_DestroyObject", nth);
    EXPECT_EQ(
        Records(records.end() - 3, records.end()),
        notDeleted(kinds[nth - 1]) + Records{"! ::deleteSessionCertificateAndKeys returned error"} + ended);
  }
  const std::string damaged = kDamaged + pem(requestChain("damaged"));
  const auto records = recordsOf([&] { product->set_client_cert_and_move_key(damaged, "LYR_CSR", "LYR"); },
                                 "C_CreateObject", 1);
  EXPECT_EQ(records.at(1), "! ::getCertificates: failed to decode certificate");
  EXPECT_EQ(records.back(), "! Exception thrown : PKCS11 error 48");
}

TEST_F(RecordsTest, OfDeletions) {
  const Records begun = {kSet + " ==>", kSet + " Delete LYR certificate and keys"};
  const auto public_key = installedKeyLookup(1), private_key = privateKeyLookup(1), chain = chainLookup(1);
  provision("installed");
  EXPECT_EQ(recordsOf(remove, "C_DestroyObject", 1), begun + public_key + notDeleted("public key"));
  provision("installed");
  EXPECT_EQ(recordsOf(remove, "C_DestroyObject", 2),
            begun + public_key + private_key + notDeleted("private key"));
  provision("installed");
  EXPECT_EQ(recordsOf(remove, "C_DestroyObject", 3),
            begun + public_key + private_key + chain + notDeleted("certificate"));
  EXPECT_EQ(recordsOf(remove), begun + installedKeyLookup(0) + privateKeyLookup(0) + chain);
  EXPECT_EQ(recordsOf([&] { product->set_client_cert_and_move_key("", "", ""); }), Records{kSet + " ==>"});
}

TEST_F(RecordsTest, OfSignaturesAndReads) {
  const Records base = {"::Getting Base Key Id"};
  const std::string count = "After Private Key finding, Private count = ";
  EXPECT_EQ(recordsOf(sign), privateKeyLookup(0));
  EXPECT_EQ(recordsOf(sign_with_base),
            base + Records({count + "0", "! ::generate_signature signature generation failed"}));
  importBaseKey();
  EXPECT_EQ(recordsOf(sign_with_base), base + Records{count + "1"});
  EXPECT_EQ(recordsOf(read_chain), chainLookup(0));
  const Bytes garbage = {0x30, 0x03, 1, 2, 3};
  test_support::importCertificate(*test_support::UserSession(), {label(1, 12)}, {garbage, garbage});
  EXPECT_EQ(recordsOf([&] { product->get_client_cert("ZEMP"); }),
            Records{"! Exception thrown : CERTIFICATE decoding failed with BER: Value truncated"});
  test_support::addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
  EXPECT_EQ(recordsOf([&] { product->get_root_cert_bundle("group"); }),
            Records({"::get_root_cert_bundle: ==>",
                     "::get_root_cert_bundle :: get_root_cert_bundle: Certificates found: 1",
                     "::get_root_cert_bundle: <=="}));
}

TEST_F(RecordsTest, OfLookupsThatFail) {
  const auto recordOf = [&](const std::function<void()>& operation, std::size_t position) {
    return recordsOf(operation, "C_FindObjects", 1).at(position);
  };
  const auto failure = [](const std::string& what) {
    return "! Exception to get " + what + " handle with exception PKCS11 error 48";
  };
  EXPECT_EQ(recordOf([&] { product->get_public_key("LYR"); }, 2), failure("permanent LYR public key"));
  EXPECT_EQ(recordOf([&] { product->get_public_key("LYR_CSR"); }, 2), failure("temporary LYR public key"));
  EXPECT_EQ(recordOf(sign, 0), failure("permanent LYR private key"));
  EXPECT_EQ(recordOf(sign_with_base, 1), failure("permanent BASE private key"));
  EXPECT_EQ(recordOf(request, 0), failure("temporary LYR private key"));
  EXPECT_EQ(recordOf(read_chain, 1), failure("LYR certificate chain"));
}

}  // namespace ozk::tee
