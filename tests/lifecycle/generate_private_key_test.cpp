// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/journal.h"
#include "support/spytoken.h"

namespace ozk::tee {

using Botan::PKCS11::AttributeType;
using test_support::Marks;

const std::string kGenerate = "ClientCertInitializer::generate_private_key";
const std::string kCleanUp = "ClientCertInitializer::deleteOldTemporaryKeys ";
const Marks kTemporary = {label(10, 101), "CCI_CLIENT", "LYR"};

const Template kPublicKeyTemplate = {objectClass(CKO_PUBLIC_KEY),
                                     attribute(CKA_KEY_TYPE, "0300000000000000"),
                                     attribute(CKA_EC_PARAMS, "06082a8648ce3d030107"),
                                     keyId(),
                                     client(),
                                     permanent(false),
                                     attribute(CKA_TOKEN, "01"),
                                     attribute(CKA_VERIFY, "01"),
                                     attribute(CKA_PRIVATE, "00"),
                                     attribute(CKA_MODIFIABLE, "00"),
                                     labelled("0a64000000")};
const Template kPrivateKeyTemplate = {objectClass(CKO_PRIVATE_KEY),
                                      attribute(CKA_KEY_TYPE, "0300000000000000"),
                                      keyId(),
                                      client(),
                                      permanent(false),
                                      attribute(CKA_TOKEN, "01"),
                                      attribute(CKA_PRIVATE, "01"),
                                      attribute(CKA_SENSITIVE, "01"),
                                      attribute(CKA_EXTRACTABLE, "00"),
                                      attribute(CKA_SIGN, "01"),
                                      attribute(CKA_MODIFIABLE, "00"),
                                      labelled("0a65000000")};

class GeneratePrivateKeyTest : public JournalTest {
 protected:
  std::function<void()> generating(ResultCode expected) {
    return [this, expected] { EXPECT_EQ(product->generate_private_key("LYR_CSR"), expected); };
  }
  static Journal begun() { return opened() + Journal{debugged(kGenerate), debugged(kCleanUp + "=>")}; }
  static Journal keysSearched(unsigned object_class, const Handles& found) {
    return searched({objectClass(object_class), client(), keyId(), permanent(false)}, found) + finished();
  }
  static Journal nothingToCleanUp() {
    return keysSearched(CKO_PRIVATE_KEY, {}) + keysSearched(CKO_PUBLIC_KEY, {}) + lookedUpChain(false, {}) +
           cleanedUp();
  }
  static Journal cleanedUp() {
    return {debugged(kCleanUp + "return OK"), debugged(kGenerate + " succesfully deleted old temp keys")};
  }
  static Journal asked(const std::string& answer) {
    return {"C_GenerateKeyPair 1 1040 " + shown(kPublicKeyTemplate) + " " + shown(kPrivateKeyTemplate) +
            answer};
  }
  /// The session is logged off and its handle let go, so that it ends with the module.
  static Journal generated(Handle public_key, Handle private_key) {
    return asked(" -> " + number(public_key) + " " + number(private_key)) + openedPublicKey(public_key) +
           openedPrivateKey(private_key) +
           Journal{debugged(kGenerate + " returning OK"), "C_Logout 1", "C_Finalize"};
  }
};

TEST_F(GeneratePrivateKeyTest, RefusesOtherIdentifiersAndTouchesNothing) {
  for (const char* key_id : {"LYR", "lyr_csr", "LYR_CSR ", ""}) {
    expectInSession([&] { EXPECT_EQ(product->generate_private_key(key_id), ResultCode::INVALID_KEY_ID); },
                    {debugged(kGenerate), failed(kGenerate + " :: Invalid Key Id")});
  }
}

TEST_F(GeneratePrivateKeyTest, AsksForAPairAndReplacesThePairAndChainOfAnEarlierAttempt) {
  expect(generating(ResultCode::OK), begun() + nothingToCleanUp() + generated(1, 2));
  {
    test_support::UserSession session;
    test_support::importChain(*session, kTemporary, {});  // object 3
  }
  expect(generating(ResultCode::OK), begun() + keysSearched(CKO_PRIVATE_KEY, {2}) + openedPrivateKey(2) +
                                         destroyed(2) + keysSearched(CKO_PUBLIC_KEY, {1}) +
                                         openedPublicKey(1) + destroyed(1) + lookedUpChain(false, {3}) +
                                         destroyed(3) + cleanedUp() + generated(4, 5));
}

TEST_F(GeneratePrivateKeyTest, CleansUpEachKeyAndSaysWhatStopsIt) {
  test_support::spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR);
  for (int i = 0; i < 2; ++i) product->generate_private_key("LYR_CSR");  // objects 1 to 4, all kept
  test_support::spytoken().stop_interfering();
  expectInSession([&] { product->get_public_key("LYR_CSR"); },
                  lookedUpPublicKey(false, {1, 3}) + openedPublicKey(1));
  {
    test_support::UserSession session;
    test_support::importChain(*session, kTemporary, {});  // object 5
  }
  test_support::Interference failure;
  failure.function = "C_DestroyObject";
  failure.nth = 5;
  failure.answer = CKR_DEVICE_ERROR;
  test_support::spytoken().interfere(failure);
  expect(generating(ResultCode::OK),
         begun() + keysSearched(CKO_PRIVATE_KEY, {2, 4}) + openedPrivateKey(2) + destroyed(2) +
             openedPrivateKey(4) + destroyed(4) + keysSearched(CKO_PUBLIC_KEY, {1, 3}) + openedPublicKey(1) +
             destroyed(1) + openedPublicKey(3) + destroyed(3) + lookedUpChain(false, {5}) +
             Journal{"C_DestroyObject 1 5 = 0x30",
                     failed("LYR temporary certificate delete fail, Exception thrown : PKCS11 error 48")} +
             generated(6, 7));
}

TEST_F(GeneratePrivateKeyTest, ThePrivateKeyIsNotGivenAway) {
  product->generate_private_key("LYR_CSR");
  test_support::UserSession session;
  const Botan::PKCS11::Object key(*session, access.privateKey(*session, false));
  EXPECT_EQ(key.get_attribute_value(AttributeType::Sensitive).at(0), 1);
  EXPECT_EQ(key.get_attribute_value(AttributeType::Extractable).at(0), 0);
  EXPECT_THROW(key.get_attribute_value(AttributeType::Value), Botan::PKCS11::PKCS11_ReturnError);
}

TEST_F(GeneratePrivateKeyTest, SaysWhenTheTokenRefuses) {
  test_support::spytoken().answer("C_GenerateKeyPair", CKR_TEMPLATE_INCONSISTENT);
  expect(generating(ResultCode::CRYPTO_OP_ERROR),
         begun() + nothingToCleanUp() + asked(" = 0xd1") +
             Journal{failed("Failed to generate ECDSA keypair with exception PKCS11 error 209")} + closed());
}

/// Tokens that give handle 0 to one half, under which it can be read.
template <int half>
CK_FUNCTION_LIST hidingHalf() {
  static const CK_FUNCTION_LIST* const token = test_support::spytoken().module().cryptoki;
  static CK_OBJECT_HANDLE hidden = 0;
  CK_FUNCTION_LIST list = *token;
  list.C_GenerateKeyPair = [](CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_ATTRIBUTE* public_half,
                              CK_ULONG public_count, CK_ATTRIBUTE* private_half, CK_ULONG private_count,
                              CK_OBJECT_HANDLE* public_key, CK_OBJECT_HANDLE* private_key) -> CK_RV {
    const CK_RV code = token->C_GenerateKeyPair(session, mechanism, public_half, public_count, private_half,
                                                private_count, public_key, private_key);
    hidden = std::exchange(half == 0 ? *public_key : *private_key, 0);
    return code;
  };
  list.C_GetAttributeValue = [](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes,
                                CK_ULONG count) -> CK_RV {
    return token->C_GetAttributeValue(session, object == 0 ? hidden : object, attributes, count);
  };
  return list;
}

TEST_F(GeneratePrivateKeyTest, AHandleOfZeroIsAFailureThatIsNoErrorRecord) {
  const Journal end = Journal{debugged(kGenerate + " returning CRYPTO_OP_ERROR")} + closed();
  const CK_FUNCTION_LIST no_public = hidingHalf<0>(), no_private = hidingHalf<1>();
  test_support::spytoken().forward_to({&no_public, nullptr});
  expect(generating(ResultCode::CRYPTO_OP_ERROR),
         begun() + nothingToCleanUp() + asked(" -> 0 2") + openedPublicKey(0) + openedPrivateKey(2) + end);
  test_support::spytoken().forward_to({&no_private, nullptr});
  expect(generating(ResultCode::CRYPTO_OP_ERROR),
         begun() + keysSearched(CKO_PRIVATE_KEY, {2}) + openedPrivateKey(2) + destroyed(2) +
             keysSearched(CKO_PUBLIC_KEY, {1}) + openedPublicKey(1) + destroyed(1) +
             lookedUpChain(false, {}) + cleanedUp() + asked(" -> 3 0") + openedPublicKey(3) +
             openedPrivateKey(0) + end);
}

TEST_F(GeneratePrivateKeyTest, ReplacesWhatAnEarlierAttemptLeftAndNothingElse) {
  provision("installed");
  requestChain("earlier attempt");
  const std::string earlier = product->get_public_key("LYR_CSR");
  {
    test_support::UserSession session;
    test_support::importChain(*session, kTemporary, {});
    for (const Marks& marks : {Marks{label(1, 10)}, Marks{label(10, 101), "OTHER", "LYR"},
                               Marks{label(10, 101), "CCI_CLIENT", "OTHER"}}) {
      test_support::importPrivateKey(*session, marks, test_support::newKey());
    }
  }
  EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  EXPECT_NE(product->get_public_key("LYR_CSR"), earlier);
  EXPECT_EQ(countOf(lyrPublicKeySearch(false)), 1u);
  EXPECT_EQ(countOf(lyrCertificateChainSearch(false)), 0u);
  EXPECT_EQ(countOf({Botan::PKCS11::ObjectClass::PrivateKey}), 5u) << "new, installed, and three of others";
  EXPECT_NE(product->get_client_cert("LYR"), "");
  EXPECT_TRUE(signsWithInstalledKey());
}

TEST_F(GeneratePrivateKeyTest, CleansUpAHundredKeysAndOneChainACall) {
  {
    test_support::UserSession session;
    const auto key = test_support::newKey();
    for (int i = 0; i < 101; ++i) test_support::importPrivateKey(*session, kTemporary, key);
    for (int i = 0; i < 2; ++i) test_support::importChain(*session, kTemporary, {});
    EXPECT_EQ(access.deleteOldTemporaryKeys(*session), ResultCode::OK);
  }
  EXPECT_EQ(countOf(lyrPrivateKeySearch(false)), 1u);
  EXPECT_EQ(countOf(lyrCertificateChainSearch(false)), 1u);
}

TEST_F(GeneratePrivateKeyTest, WhatCannotBeDestroyedStopsTheCleanUpButNotTheGeneration) {
  Marks undeletable = kTemporary;
  undeletable.destroyable = false;
  {
    test_support::UserSession session;
    test_support::importPrivateKey(*session, undeletable, test_support::newKey());  // object 1
    test_support::importPrivateKey(*session, kTemporary, test_support::newKey());   // object 2
  }
  expect(generating(ResultCode::OK),  // CKR_ACTION_PROHIBITED
         begun() + keysSearched(CKO_PRIVATE_KEY, {1, 2}) + openedPrivateKey(1) +
             Journal{"C_DestroyObject 1 1 = 0x1b",
                     failed("LYR temporary private key delete fail, Exception thrown : PKCS11 error 27")} +
             generated(3, 4));
}

}  // namespace ozk::tee
