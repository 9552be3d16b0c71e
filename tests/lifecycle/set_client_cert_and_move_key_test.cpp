// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/journal.h"
#include "support/spytoken.h"

namespace ozk::tee {

using test_support::pem;

const std::string kSet = "ClientCertInitializer::set_client_cert_and_move_key";

const Journal kDeletionBegun = {debugged(kSet + " ==>"), debugged(kSet + " Delete LYR certificate and keys")};

class SetClientCertTest : public JournalTest {
 protected:
  std::function<void()> installing(const std::string& chain, ResultCode expected) {
    return [=] { EXPECT_EQ(product->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR"), expected); };
  }
  std::function<void()> deleting(ResultCode expected) {
    return [=] { EXPECT_EQ(product->set_client_cert_and_move_key("", "", "LYR"), expected); };
  }

  static void failDestruction(unsigned nth) {
    test_support::Interference failure;
    failure.function = "C_DestroyObject";
    failure.nth = nth;
    failure.answer = CKR_DEVICE_ERROR;
    test_support::spytoken().stop_interfering();
    test_support::spytoken().interfere(failure);
  }

  static Journal says(const std::string& text) { return {debugged(kSet + text)}; }
  static Journal saysEach(const std::string& text, const Handles& handles) {
    Journal records;
    for (const Handle handle : handles) records.push_back(debugged(text + number(handle)));
    return records;
  }

  static Handles present(const Handles& handles) {
    Handles there;
    std::copy_if(handles.begin(), handles.end(), std::back_inserter(there), [](Handle h) { return h != 0; });
    return there;
  }
  static std::string listed(const Handles& handles) {
    std::string text = " [";
    for (const Handle each : present(handles)) text += " " + number(each);
    return text + " ]";
  }

  /// From the lookup of the temporary keys (0: none) to the creation of the chain object.
  static Journal stored(Handle public_key, Handle private_key, const Bytes& value,
                        const std::string& answer) {
    const Handles added = present({public_key, private_key});
    const Template chain = {objectClass(CKO_CERTIFICATE),
                            attribute(CKA_CERTIFICATE_TYPE, "0110008000000000"),
                            attribute(CKA_VALUE, hexOf(value)),
                            keyId(),
                            attribute(CKA_TOKEN, "01"),
                            labelled("0a66000000"),
                            attribute(CKA_ID, "66000000"),
                            permanent(false),
                            client()};
    return lookedUpPublicKey(false, present({public_key})) +
           says(" TEMPorary PUBLIC key Handle = " + number(public_key)) +
           lookedUpPrivateKey(false, present({private_key})) +
           says(" TEMPorary PRIVATE key Handle = " + number(private_key)) +
           says(" addHandleSize = " + number(added.size())) + saysEach("Handles in addHandle = ", added) +
           Journal{"C_CreateObject 1 " + shown(chain) + answer};
  }
  /// From there to the token's exchange. `installed`: public key, private key, chain (0: none).
  static Journal exchanged(const Handles& added, const Handles& installed, const std::string& answer) {
    return says(" after push addHandleSize = " + number(added.size())) +
           saysEach("Handles in addHandle after push = ", added) +
           says(" chain handle = " + number(added.back())) +
           lookedUpPublicKey(true, present({installed[0]})) +
           says(" PUBLIC key Handle = " + number(installed[0])) + says(" Before getLYRPrivateKeyHandle") +
           lookedUpPrivateKey(true, present({installed[1]})) +
           says(" PRIVATE key Handle = " + number(installed[1])) + says(" After  getLYRPrivateKeyHandle") +
           lookedUpChain(true, present({installed[2]})) +
           Journal{"C_GetInterface",
                   "set_client_cert_and_move_key 1" + listed(installed) + listed(added) + answer};
  }
  /// An installation whose `nth` object cannot be destroyed; it is installed all the same.
  void expectTidyingToFail(unsigned nth, const std::string& kind, const Journal& done) {
    const auto chain = requestChain("first");
    failDestruction(nth);
    expectInSession(
        installing(pem(chain), ResultCode::CRYPTO_OP_ERROR),
        says(" ==>") + stored(1, 2, valueOf(chain), " -> 3") + exchanged({1, 2, 3}, {0, 0, 0}, "") + done +
            Journal{"C_DestroyObject 1 " + number(nth) + " = 0x30",
                    failed("LYR " + kind + " delete fail, Exception thrown : PKCS11 error 48"),
                    failed("ClientCertInitializer::deleteSessionCertificateAndKeys returned error")} +
            says(": <=="));
    EXPECT_EQ(product->get_client_cert("LYR"), pem(chain));
    EXPECT_TRUE(signsWithInstalledKey());
  }

  static Journal tidied(Handle public_key, Handle private_key, Handle chain) {
    return openedPublicKey(public_key) + destroyed(public_key) + openedPrivateKey(private_key) +
           destroyed(private_key) + destroyed(chain);
  }
  static Bytes valueOf(const std::vector<Botan::X509_Certificate>& chain) {
    Bytes value;
    for (const auto& certificate : chain) {
      const auto der = certificate.BER_encode();
      value.insert(value.end(), der.begin(), der.end());
    }
    return value;
  }
};

TEST_F(SetClientCertTest, TheFirstInstallationHandsTheTokenNothingToReplace) {
  const auto chain = requestChain("first");  // objects 1 and 2
  expectInSession(installing(pem(chain), ResultCode::OK),
                  says(" ==>") + stored(1, 2, valueOf(chain), " -> 3") + exchanged({1, 2, 3}, {0, 0, 0}, "") +
                      tidied(1, 2, 3) + says(": <=="));
}

TEST_F(SetClientCertTest, ARotationHandsTheTokenBothSets) {
  provision("first");
  const auto chain = requestChain("second");
  expectInSession(installing(pem(chain), ResultCode::OK),
                  says(" ==>") + stored(kNewPublic, kNewPrivate, valueOf(chain), " -> 9") +
                      exchanged({kNewPublic, kNewPrivate, kNewChain},
                                {kInstalledPublic, kInstalledPrivate, kInstalledChain}, "") +
                      tidied(kNewPublic, kNewPrivate, kNewChain) + says(": <=="));
}

TEST_F(SetClientCertTest, WhatCannotBeDecodedIsSaidAndLeftOut) {
  const auto chain = requestChain("first");
  const std::string damaged = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
  expectInSession(
      installing(damaged + pem(chain), ResultCode::OK),
      says(" ==>") + Journal{failed("ClientCertInitializer::getCertificates: failed to decode certificate")} +
          stored(1, 2, valueOf(chain), " -> 3") + exchanged({1, 2, 3}, {0, 0, 0}, "") + tidied(1, 2, 3) +
          says(": <=="));
}

TEST_F(SetClientCertTest, AChainThatTheTokenDoesNotStoreLeavesTheTemporaryKeys) {
  const auto chain = requestChain("first");
  test_support::spytoken().answer("C_CreateObject", CKR_DEVICE_MEMORY);
  expectInSession(installing(pem(chain), ResultCode::TOKEN_STORE_ERROR),
                  says(" ==>") + stored(1, 2, valueOf(chain), " = 0x31") +
                      Journal{failed("Exception thrown : PKCS11 error 49")});
  EXPECT_EQ(temporaries(), 2u);
}

TEST_F(SetClientCertTest, WhatTheTokenRefusesIsTidiedUpAllTheSame) {
  const auto chain = provision("first");
  requestChain("second");
  expectInSession(installing(pem(chain), ResultCode::CRYPTO_OP_ERROR),  // CKR_DATA_INVALID
                  says(" ==>") + stored(kNewPublic, kNewPrivate, valueOf(chain), " -> 9") +
                      exchanged({kNewPublic, kNewPrivate, kNewChain},
                                {kInstalledPublic, kInstalledPrivate, kInstalledChain}, " = 0x20") +
                      Journal{failed(kSet + " returned error")} + tidied(kNewPublic, kNewPrivate, kNewChain) +
                      says(": <=="));
}

TEST_F(SetClientCertTest, TidyingUpThePublicKeyFailsFirst) {
  expectTidyingToFail(1, "public session key", openedPublicKey(1));
}

TEST_F(SetClientCertTest, TidyingUpThePrivateKeyFailsSecond) {
  expectTidyingToFail(2, "private session key", openedPublicKey(1) + destroyed(1) + openedPrivateKey(2));
}

TEST_F(SetClientCertTest, TidyingUpTheChainFailsLast) {
  expectTidyingToFail(3, "session certificate",
                      openedPublicKey(1) + destroyed(1) + openedPrivateKey(2) + destroyed(2));
}

TEST_F(SetClientCertTest, HalfATemporaryPairIsHandedOverAndRefused) {
  {
    test_support::UserSession session;
    test_support::importPrivateKey(*session, {label(9, 9), "CCI_CLIENT", "LYR"}, test_support::newKey());
  }
  expectInSession(
      installing("", ResultCode::CRYPTO_OP_ERROR),
      says(" ==>") + stored(0, 1, {}, " -> 2") + exchanged({1, 2}, {0, 0, 0}, " = 0x7") +
          Journal{failed(kSet + " returned error")} + openedPrivateKey(1) +
          Journal{"C_GetAttributeValue 1 1 [181=] = 0x12",
                  failed("LYR public session key delete fail, Exception thrown : PKCS11 error 18"),
                  failed("ClientCertInitializer::deleteSessionCertificateAndKeys returned error")} +
          says(": <=="));
}

TEST_F(SetClientCertTest, OtherIdentifiersAreRefusedAndNothingChanges) {
  const auto installed_chain = provision("installed");
  const std::string chain = pem(requestChain("waiting"));
  log.take();
  const std::string cases[][3] = {
      {chain, "LYR_CSR", "BASE"}, {chain, "LYR_CSR", "LYR "}, {chain, "LYR", "LYR"}, {chain, "", "LYR"},
      {"", "", "ZEMP"},           {"", "other", "LYR"},       {"", "LYR_CSR", ""}};
  for (const auto& [cert_chain, temp_key_id, key_id] : cases) {
    EXPECT_EQ(product->set_client_cert_and_move_key(cert_chain, temp_key_id, key_id),
              ResultCode::INVALID_KEY_ID)
        << temp_key_id << ' ' << key_id;
    EXPECT_THAT(log.take(), ElementsAre(debug(kSet + " ==>")));
  }
  EXPECT_EQ(product->get_client_cert("LYR"), pem(installed_chain));
  EXPECT_EQ(temporaries(), 2u);
}

TEST_F(SetClientCertTest, WithoutATemporaryKeyPairFailsAndTheInstalledOneServesOn) {
  const auto chain = provision("installed");
  expectInSession(
      installing(pem(chain), ResultCode::CRYPTO_OP_ERROR),  // CKR_ARGUMENTS_BAD, then no public key
      says(" ==>") + stored(0, 0, valueOf(chain), " -> 7") +
          exchanged({7}, {kInstalledPublic, kInstalledPrivate, kInstalledChain}, " = 0x7") +
          Journal{failed(kSet + " returned error"), "C_GetAttributeValue 1 7 [180=] = 0x12",
                  failed("LYR public session key delete fail, Exception thrown : PKCS11 error 18"),
                  failed("ClientCertInitializer::deleteSessionCertificateAndKeys returned error")} +
          says(": <=="));
  EXPECT_EQ(product->get_client_cert("LYR"), pem(chain));
  EXPECT_TRUE(signsWithInstalledKey());
}

TEST_F(SetClientCertTest, DeletionRemovesTheInstalledObjectsAloneAndCanBeRepeated) {
  provision("installed");
  requestChain("waiting");
  expectInSession(deleting(ResultCode::OK),
                  kDeletionBegun + lookedUpPublicKey(true, {kInstalledPublic}) +
                      openedPublicKey(kInstalledPublic) + destroyed(kInstalledPublic) +
                      lookedUpPrivateKey(true, {kInstalledPrivate}) + openedPrivateKey(kInstalledPrivate) +
                      destroyed(kInstalledPrivate) + lookedUpChain(true, {kInstalledChain}) +
                      destroyed(kInstalledChain));
  EXPECT_EQ(temporaries(), 2u);
  expectInSession(deleting(ResultCode::OK), kDeletionBegun + lookedUpPublicKey(true, {}) +
                                                lookedUpPrivateKey(true, {}) + lookedUpChain(true, {}));
}

TEST_F(SetClientCertTest, ADeletionThatFailsHalfWayIsCompletedByTheNext) {
  provision("installed");
  const Journal public_key_gone = lookedUpPublicKey(true, {kInstalledPublic}) +
                                  openedPublicKey(kInstalledPublic) + destroyed(kInstalledPublic);
  const Journal private_key_gone = lookedUpPrivateKey(true, {kInstalledPrivate}) +
                                   openedPrivateKey(kInstalledPrivate) + destroyed(kInstalledPrivate);
  const auto notDestroyed = [](Handle object, const std::string& kind) {
    return Journal{"C_DestroyObject 1 " + number(object) + " = 0x30",
                   failed("LYR " + kind + " delete fail, Exception thrown : PKCS11 error 48")};
  };
  failDestruction(1);
  expectInSession(deleting(ResultCode::CRYPTO_OP_ERROR),
                  kDeletionBegun + lookedUpPublicKey(true, {kInstalledPublic}) +
                      openedPublicKey(kInstalledPublic) + notDestroyed(kInstalledPublic, "public key"));
  failDestruction(2);
  expectInSession(deleting(ResultCode::CRYPTO_OP_ERROR),
                  kDeletionBegun + public_key_gone + lookedUpPrivateKey(true, {kInstalledPrivate}) +
                      openedPrivateKey(kInstalledPrivate) + notDestroyed(kInstalledPrivate, "private key"));
  failDestruction(2);
  expectInSession(deleting(ResultCode::CRYPTO_OP_ERROR),
                  kDeletionBegun + lookedUpPublicKey(true, {}) + private_key_gone +
                      lookedUpChain(true, {kInstalledChain}) + notDestroyed(kInstalledChain, "certificate"));
  expectInSession(deleting(ResultCode::OK),
                  kDeletionBegun + lookedUpPublicKey(true, {}) + lookedUpPrivateKey(true, {}) +
                      lookedUpChain(true, {kInstalledChain}) + destroyed(kInstalledChain));
}

TEST_F(SetClientCertTest, AnInstallationTakesThePlaceOfWhatADeletionLeft) {
  provision("first");
  failDestruction(2);
  deleting(ResultCode::CRYPTO_OP_ERROR)();
  test_support::spytoken().stop_interfering();
  const auto chain = requestChain("second");
  expectInSession(
      installing(pem(chain), ResultCode::OK),
      says(" ==>") + stored(kNewPublic, kNewPrivate, valueOf(chain), " -> 9") +
          exchanged({kNewPublic, kNewPrivate, kNewChain}, {0, kInstalledPrivate, kInstalledChain}, "") +
          tidied(kNewPublic, kNewPrivate, kNewChain) + says(": <=="));
  EXPECT_EQ(countOf(lyrPrivateKeySearch(true)), 1u);
  EXPECT_TRUE(signsWithInstalledKey());
}

}  // namespace ozk::tee
