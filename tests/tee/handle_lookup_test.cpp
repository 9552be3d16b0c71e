// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/journal.h"
#include "support/spytoken.h"

namespace ozk::tee {

/// A lookup whose search begins, but finds nothing for want of an answer.
Journal failedLookup(const Journal& lookup, const std::string& text) {
  Journal begun;
  for (const std::string& entry : lookup) {
    begun.push_back(entry);
    if (entry.rfind("C_FindObjectsInit", 0) == 0) break;
  }
  return begun +
         Journal{"C_FindObjects 1 100 = 0x6", "C_FindObjectsFinal 1", failed(text + "PKCS11 error 6")};
}

TEST_F(JournalTest, ALookupThatFailsSaysSoEndsItsSearchAndFindsNothing) {
  const auto text = [](const std::string& key) {
    return "Exception to get " + key + " handle with exception ";
  };
  const Journal no_object = {"C_GetAttributeValue 1 0 [180=] = 0x82"};
  test_support::spytoken().answer("C_FindObjects", CKR_FUNCTION_FAILED);
  expectInSession([&] { product->get_public_key("LYR"); },
                  failedLookup(lookedUpPublicKey(true, {}), text("permanent LYR public key")) + no_object,
                  "PKCS11 error 130");
  expectInSession([&] { product->get_public_key("LYR_CSR"); },
                  failedLookup(lookedUpPublicKey(false, {}), text("temporary LYR public key")) + no_object,
                  "PKCS11 error 130");
  expectInSession([&] { product->generate_signature("LYR", {}, ""); },
                  failedLookup(lookedUpPrivateKey(true, {}), text("permanent LYR private key")));
  expectInSession([&] { product->generate_csr("", "LYR_CSR"); },
                  failedLookup(lookedUpPrivateKey(false, {}), text("temporary LYR private key")) +
                      Journal{debugged("ClientCertInitializer::generate_csr PRIVATE key Handle = 0")});
  expectInSession(
      [&] { product->generate_signature("BASE", {}, ""); },
      Journal{debugged("ClientCertInitializer::Getting Base Key Id")} +
          failedLookup(lookedUpBaseKey({}), text("permanent BASE private key")) +
          Journal{failed("ClientCertInitializer::generate_signature signature generation failed")});
  expectInSession([&] { product->get_client_cert("LYR"); },
                  failedLookup(lookedUpChain(true, {}), text("LYR certificate chain")));
}

}  // namespace ozk::tee
