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

Records publicKeyLookup(bool installed, int count) {
  return {"::getLYRPublicKeyHandle : ==>",
          installed ? "::getLYRPublicKeyHandle : Search Permanent Pub key"
                    : "::getLYRPublicKeyHandle : Search LYR",
          "::getLYRPublicKeyHandle : count of public key found = " + std::to_string(count),
          "::getLYRPublicKeyHandle : <=="};
}
Records privateKeyLookup(int count) {
  return {"::getLYRPrivateKeyHandle : count of private key found = " + std::to_string(count)};
}
Records chainLookup(int count) {
  return {"::getLYRCertificateChainHandle",
          "::getLYRCertificateChainHandle : No of chain objects found = " + std::to_string(count)};
}

const std::string kSet = "::set_client_cert_and_move_key";
const Records kDeletion = {kSet + " ==>", kSet + " Delete LYR certificate and keys"};

/// The records of an installation. Handles are texts; "0" is no object.
Records installation(const std::string& public_key, const std::string& private_key, const std::string& chain,
                     const std::string& old_public_key, const std::string& old_private_key, int installed) {
  return Records{kSet + " ==>"} + publicKeyLookup(false, 1) +
         Records{kSet + " TEMPorary PUBLIC key Handle = " + public_key} + privateKeyLookup(1) +
         Records{kSet + " TEMPorary PRIVATE key Handle = " + private_key,
                 kSet + " addHandleSize = 2",
                 "Handles in addHandle = " + public_key,
                 "Handles in addHandle = " + private_key,
                 kSet + " after push addHandleSize = 3",
                 "Handles in addHandle after push = " + public_key,
                 "Handles in addHandle after push = " + private_key,
                 "Handles in addHandle after push = " + chain,
                 kSet + " chain handle = " + chain} +
         publicKeyLookup(true, installed) +
         Records{kSet + " PUBLIC key Handle = " + old_public_key, kSet + " Before getLYRPrivateKeyHandle"} +
         privateKeyLookup(installed) +
         Records{kSet + " PRIVATE key Handle = " + old_private_key, kSet + " After  getLYRPrivateKeyHandle"} +
         chainLookup(installed);
}

class RecordsTest : public ProductTest {
 protected:
  template <typename Operation>
  Records recordsOf(Operation operation) {
    log.take();
    try {
      operation();
    } catch (const Botan::PKCS11::PKCS11_ReturnError&) {
    }
    Records records;
    for (const auto& line : log.take()) {
      const std::string prefix = "ClientCertInitializer::";
      const bool named = line.text.compare(0, prefix.size(), prefix) == 0;
      records.push_back((line.level == ara::log::LogLevel::kError ? "! " : "") +
                        (named ? line.text.substr(prefix.size() - 2) : line.text));
    }
    return records;
  }
  Records ofGeneration() {
    return recordsOf([&] { product->generate_private_key("LYR_CSR"); });
  }
  Records ofRequest() {
    return recordsOf([&] { product->generate_csr("device", "LYR_CSR"); });
  }
  Records ofSignature(const std::string& key_id) {
    return recordsOf([&] { product->generate_signature(key_id, {}, ""); });
  }
  Records ofInstallation(const Chain& chain) {
    return recordsOf([&] { install(chain); });
  }
  Records ofDeletion() {
    return recordsOf([&] { product->set_client_cert_and_move_key("", "", "LYR"); });
  }
  /// Fails the `nth` call of `function`, and no other, in the next operation.
  static void fail(const std::string& function, unsigned nth = 1) {
    spytoken().stop_interfering();
    spytoken().answer(function, CKR_DEVICE_ERROR, nth);
  }
};

TEST_F(RecordsTest, OfTheInstance) {
  EXPECT_THAT(
      recordsOf([] { ClientCertInitializerTestAccess fresh; }),
      ElementsAre("Created an instance of CCI API Lib", "Botan version: " + Botan::short_version_string()));
  EXPECT_EQ(recordsOf([] { ClientCertInitializerAPI::get_instance(); }), Records());
}

TEST_F(RecordsTest, OfAGeneration) {
  const Records begun = {"::generate_private_key", "::deleteOldTemporaryKeys =>"};
  const Records cleaned = {"::deleteOldTemporaryKeys return OK",
                           "::generate_private_key succesfully deleted old temp keys"};
  const Records generated = {"::generate_private_key returning OK"};
  EXPECT_EQ(ofGeneration(), begun + chainLookup(0) + cleaned + generated);
  EXPECT_EQ(recordsOf([&] { product->generate_private_key("LYR"); }),
            Records({"::generate_private_key", "! ::generate_private_key :: Invalid Key Id"}));
  const auto failure = [](const std::string& kind) {
    return Records{"! LYR temporary " + kind + " delete fail, Exception thrown : PKCS11 error 48"};
  };
  fail("C_DestroyObject", 1);
  EXPECT_EQ(ofGeneration(), begun + failure("private key") + generated);
  fail("C_DestroyObject", 3);
  EXPECT_EQ(ofGeneration(), begun + failure("public key") + generated);
  test_support::importChain(*test_support::UserSession(), {label(10, 102), "CCI_CLIENT", "LYR"}, {});
  fail("C_DestroyObject", 5);
  EXPECT_EQ(ofGeneration(), begun + chainLookup(1) + failure("certificate") + generated);
  fail("C_GenerateKeyPair");
  EXPECT_EQ(ofGeneration(), begun + chainLookup(1) + cleaned +
                                Records{"! Failed to generate ECDSA keypair with exception PKCS11 error 48"});
}

TEST_F(RecordsTest, OfARequest) {
  const std::string found_private = "::generate_csr PRIVATE key Handle = ",
                    found_public = "::generate_csr PUBLIC key Handle = ";
  EXPECT_EQ(ofRequest(), privateKeyLookup(0) + Records{found_private + "0"});
  test_support::importPrivateKey(*test_support::UserSession(), {label(9, 9), "CCI_CLIENT", "LYR"},
                                 test_support::newKey());  // found whatever its label
  EXPECT_EQ(ofRequest(), privateKeyLookup(1) + Records{found_private + "1"} + publicKeyLookup(false, 0) +
                             Records{found_public + "0"});
  product->generate_private_key("LYR_CSR");
  EXPECT_EQ(ofRequest(), privateKeyLookup(1) + Records{found_private + "3"} + publicKeyLookup(false, 1) +
                             Records{found_public + "2"});
  EXPECT_EQ(recordsOf([&] { product->generate_csr("device", "LYR"); }), Records());
}

TEST_F(RecordsTest, OfInstallationsAndDeletions) {
  const Records ended = {kSet + ": <=="}, not_tidied = {"! ::deleteSessionCertificateAndKeys returned error"};
  const auto failure = [](const std::string& kind) {
    return Records{"! LYR " + kind + " delete fail, Exception thrown : PKCS11 error 48"};
  };
  auto chain = requestChain("first");
  EXPECT_EQ(ofInstallation(chain), installation("1", "2", "3", "0", "0", 0) + ended);
  requestChain("second");  // objects 7 and 8, and the old chain again
  EXPECT_EQ(ofInstallation(chain),
            installation("7", "8", "9", "5", "6", 1) + Records{"! " + kSet + " returned error"} + ended);
  const char* const kinds[] = {"public session key", "private session key", "session certificate"};
  for (unsigned nth = 1; nth <= 3; ++nth) {
    chain = requestChain("next");
    fail("C_DestroyObject", nth);
    const auto records = ofInstallation(chain);
    EXPECT_EQ(Records(records.end() - 3, records.end()), failure(kinds[nth - 1]) + not_tidied + ended);
  }
  const auto public_key = publicKeyLookup(true, 1), private_key = privateKeyLookup(1);
  fail("C_DestroyObject", 1);
  EXPECT_EQ(ofDeletion(), kDeletion + public_key + failure("public key"));
  fail("C_DestroyObject", 2);
  EXPECT_EQ(ofDeletion(), kDeletion + public_key + private_key + failure("private key"));
  fail("C_DestroyObject", 2);
  EXPECT_EQ(ofDeletion(),
            kDeletion + publicKeyLookup(true, 0) + private_key + chainLookup(1) + failure("certificate"));
  EXPECT_EQ(ofDeletion(), kDeletion + publicKeyLookup(true, 0) + privateKeyLookup(0) + chainLookup(1));
}

TEST_F(RecordsTest, OfInstallationsThatEndEarly) {
  EXPECT_EQ(recordsOf([&] { product->set_client_cert_and_move_key("", "LYR_CSR", ""); }),
            Records{kSet + " ==>"});
  const std::string damaged = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
  const auto records = recordsOf([&] {
    spytoken().answer("C_CreateObject", CKR_DEVICE_MEMORY);
    product->set_client_cert_and_move_key(damaged + pem(requestChain("device")), "LYR_CSR", "LYR");
  });
  EXPECT_EQ(records.back(), "! Exception thrown : PKCS11 error 49");
  EXPECT_THAT(records, ::testing::Contains("! ::getCertificates: failed to decode certificate"));
}

TEST_F(RecordsTest, OfSignaturesAndReads) {
  const Records base = {"::Getting Base Key Id"};
  const Records count = {"After Private Key finding, Private count = "};
  EXPECT_EQ(ofSignature("LYR"), privateKeyLookup(0));
  EXPECT_EQ(ofSignature("BASE"),
            base + Records{count[0] + "0"} + Records{"! ::generate_signature signature generation failed"});
  importBaseKey();
  EXPECT_EQ(ofSignature("BASE"), base + Records{count[0] + "1"});
  EXPECT_EQ(recordsOf([&] { product->get_client_cert("LYR"); }), chainLookup(0));
  test_support::addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
  EXPECT_EQ(recordsOf([&] { product->get_root_cert_bundle("group"); }),
            Records({"::get_root_cert_bundle: ==>",
                     "::get_root_cert_bundle :: get_root_cert_bundle: Certificates found: 1",
                     "::get_root_cert_bundle: <=="}));
  const Bytes garbage = {0x30, 0x03, 1, 2, 3};
  test_support::importCertificate(*test_support::UserSession(), {label(1, 12)}, {garbage, garbage});
  EXPECT_EQ(recordsOf([&] { product->get_client_cert("ZEMP"); }),
            Records{"! Exception thrown : CERTIFICATE decoding failed with BER: Value truncated"});
  EXPECT_EQ(recordsOf([&] { product->get_zemp_vin(); }), Records());
}

TEST_F(RecordsTest, OfLookupsThatFail) {
  spytoken().answer("C_FindObjects", CKR_DEVICE_ERROR);
  const auto failure = [](const std::string& key) {
    return "! Exception to get " + key + " handle with exception PKCS11 error 48";
  };
  const auto publicKeyFailure = [&](const std::string& key_id) {
    return recordsOf([&] { product->get_public_key(key_id); }).back();
  };
  EXPECT_EQ(publicKeyFailure("LYR"), failure("permanent LYR public key"));
  EXPECT_EQ(publicKeyFailure("LYR_CSR"), failure("temporary LYR public key"));
  EXPECT_EQ(ofSignature("LYR"), Records{failure("permanent LYR private key")});
  EXPECT_EQ(ofSignature("BASE").at(1), failure("permanent BASE private key"));
  EXPECT_EQ(ofRequest().at(0), failure("temporary LYR private key"));
  EXPECT_EQ(recordsOf([&] { product->get_client_cert("LYR"); }).at(1), failure("LYR certificate chain"));
}

}  // namespace ozk::tee
