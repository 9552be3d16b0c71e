#include "api/journal.h"
#include "support/spytoken.h"

namespace ozk::tee {

using test_support::pem;

const std::string kSet = "ClientCertInitializer::set_client_cert_and_move_key";

const Journal kDeletionBegun = {debugged(kSet + " ==>"), debugged(kSet + " Delete LYR certificate and keys")};

class SetClientCertTest : public JournalTest {
 protected:
  std::size_t installed() {
    return countOf(lyrPublicKeySearch(true)) + countOf(lyrPrivateKeySearch(true)) +
           countOf(lyrCertificateChainSearch(true));
  }

  std::function<void()> installing(const std::string& chain, ResultCode expected) {
    return [=] { EXPECT_EQ(product->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR"), expected); };
  }
  std::function<void()> deleting(ResultCode expected) {
    return [=] { EXPECT_EQ(product->set_client_cert_and_move_key("", "", "LYR"), expected); };
  }

  static void failDestruction(unsigned nth) {
    test_support::Interference failure;
    failure.function = "C_DestroyObject", failure.nth = nth, failure.answer = CKR_DEVICE_ERROR;
    test_support::spytoken().interfere(failure);
  }

  static Journal says(const std::string& text) { return {debugged(kSet + text)}; }
  static Journal saysEach(const std::string& text, const Handles& handles) {
    Journal records;
    for (const Handle handle : handles) records.push_back(debugged(text + number(handle)));
    return records;
  }

  /// From the lookup of the temporary keys (0: none) to the creation of the chain object.
  static Journal stored(Handle public_key, Handle private_key, const Bytes& value,
                        const std::string& answer) {
    Handles added;
    for (const Handle key : {public_key, private_key}) {
      if (key != 0) added.push_back(key);
    }
    const Template chain = {objectClass(CKO_CERTIFICATE),
                            attribute(CKA_CERTIFICATE_TYPE, "0110008000000000"),
                            attribute(CKA_VALUE, hexOf(value)),
                            keyId(),
                            attribute(CKA_TOKEN, "01"),
                            labelled("0a66000000"),
                            attribute(CKA_ID, "66000000"),
                            permanent(false),
                            client()};
    return lookedUpPublicKey(false, public_key) +
           says(" TEMPorary PUBLIC key Handle = " + number(public_key)) +
           lookedUpPrivateKey(false, private_key) +
           says(" TEMPorary PRIVATE key Handle = " + number(private_key)) +
           says(" addHandleSize = " + number(added.size())) + saysEach("Handles in addHandle = ", added) +
           Journal{"C_CreateObject 1 " + shown(chain) + answer};
  }
  /// From there to the token's exchange.
  static Journal exchanged(const Handles& added, const Handles& installed, const std::string& answer) {
    const auto at = [&](std::size_t i) { return installed.empty() ? 0 : installed[i]; };
    const auto list = [](const Handles& handles) {
      std::string text = " [";
      for (const Handle each : handles) text += " " + number(each);
      return text + " ]";
    };
    return says(" after push addHandleSize = " + number(added.size())) +
           saysEach("Handles in addHandle after push = ", added) +
           says(" chain handle = " + number(added.back())) + lookedUpPublicKey(true, at(0)) +
           says(" PUBLIC key Handle = " + number(at(0))) + says(" Before getLYRPrivateKeyHandle") +
           lookedUpPrivateKey(true, at(1)) + says(" PRIVATE key Handle = " + number(at(1))) +
           says(" After  getLYRPrivateKeyHandle") + lookedUpChain(true, at(2)) +
           Journal{"C_GetInterface",
                   "set_client_cert_and_move_key 1" + list(installed) + list(added) + answer};
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
                  says(" ==>") + stored(1, 2, valueOf(chain), " -> 3") + exchanged({1, 2, 3}, {}, "") +
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
          stored(1, 2, valueOf(chain), " -> 3") + exchanged({1, 2, 3}, {}, "") + tidied(1, 2, 3) +
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

TEST_F(SetClientCertTest, TidyingUpStopsAtTheFirstObjectThatCannotBeDestroyed) {
  const auto chain = requestChain("first");
  failDestruction(2);
  expectInSession(
      installing(pem(chain), ResultCode::CRYPTO_OP_ERROR),
      says(" ==>") + stored(1, 2, valueOf(chain), " -> 3") + exchanged({1, 2, 3}, {}, "") +
          openedPublicKey(1) + destroyed(1) + openedPrivateKey(2) +
          Journal{"C_DestroyObject 1 2 = 0x30",
                  failed("LYR private session key delete fail, Exception thrown : PKCS11 error 48"),
                  failed("ClientCertInitializer::deleteSessionCertificateAndKeys returned error")} +
          says(": <=="));
  EXPECT_EQ(product->get_client_cert("LYR"), pem(chain)) << "installed all the same";
  EXPECT_TRUE(signsWithInstalledKey());
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
                  kDeletionBegun + lookedUpPublicKey(true, kInstalledPublic) +
                      openedPublicKey(kInstalledPublic) + destroyed(kInstalledPublic) +
                      lookedUpPrivateKey(true, kInstalledPrivate) + openedPrivateKey(kInstalledPrivate) +
                      destroyed(kInstalledPrivate) + lookedUpChain(true, kInstalledChain) +
                      destroyed(kInstalledChain));
  EXPECT_EQ(temporaries(), 2u);
  expectInSession(deleting(ResultCode::OK), kDeletionBegun + lookedUpPublicKey(true, 0) +
                                                lookedUpPrivateKey(true, 0) + lookedUpChain(true, 0));
}

TEST_F(SetClientCertTest, ADeletionThatFailsHalfWayIsCompletedByTheNext) {
  provision("installed");
  failDestruction(2);
  expectInSession(deleting(ResultCode::CRYPTO_OP_ERROR),
                  kDeletionBegun + lookedUpPublicKey(true, kInstalledPublic) +
                      openedPublicKey(kInstalledPublic) + destroyed(kInstalledPublic) +
                      lookedUpPrivateKey(true, kInstalledPrivate) + openedPrivateKey(kInstalledPrivate) +
                      Journal{"C_DestroyObject 1 " + number(kInstalledPrivate) + " = 0x30",
                              failed("LYR private key delete fail, Exception thrown : PKCS11 error 48")});
  deleting(ResultCode::OK)();
  EXPECT_EQ(installed(), 0u);
}

}  // namespace ozk::tee
