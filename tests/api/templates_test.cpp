// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/hex.h>

#include "api/product_test.h"

namespace ozk::tee {

// Attributes as the spy shows them: type=value, in hexadecimal.
const std::string kLYR = "80001002=4c5952", kClient = "80001003=4343495f434c49454e54";
const std::string kTemporary = "80001004=00", kInstalled = "80001004=01";
const std::string kCertificate = "0=0100000000000000", kPublicKey = "0=0200000000000000",
                  kPrivateKey = "0=0300000000000000", kEc = "100=0300000000000000";

std::string searchFor(const std::string& attributes) { return "C_FindObjectsInit 1 [" + attributes + "]"; }
std::string publicKeySearch(const std::string& state) {
  return searchFor("3=0a64000000 " + kPublicKey + ' ' + kClient + ' ' + kLYR + ' ' + state);
}
std::string privateKeySearch(const std::string& state) {
  return searchFor(kPrivateKey + ' ' + kClient + ' ' + kLYR + ' ' + state);
}
std::string chainSearch(const std::string& state) {
  return searchFor(kCertificate + ' ' + kLYR + ' ' + kClient + ' ' + state);
}

class TemplatesTest : public ProductTest {
 protected:
  /// The calls with templates or handles that an operation makes.
  template <typename Operation>
  std::vector<std::string> callsOf(Operation operation) {
    spytoken().take_calls();
    operation();
    std::vector<std::string> texts;
    for (const std::string& text : spytoken().take_texts()) {
      const bool reads = text.rfind("C_FindObjects ", 0) == 0;
      EXPECT_TRUE(!reads || text == "C_FindObjects 1 100") << text;
      if (text.find('[') != std::string::npos) texts.push_back(text);
    }
    return texts;
  }
};

TEST_F(TemplatesTest, OfTheKeyPairReachTheTokenByteForByte) {
  EXPECT_THAT(
      callsOf([&] { generate(); }),
      ElementsAre(privateKeySearch(kTemporary),
                  searchFor(kPublicKey + ' ' + kClient + ' ' + kLYR + ' ' + kTemporary),
                  chainSearch(kTemporary),
                  "C_GenerateKeyPair 1 1040 [" + kPublicKey + ' ' + kEc + " 180=06082a8648ce3d030107 " +
                      kLYR + ' ' + kClient + ' ' + kTemporary + " 1=01 10a=01 2=00 170=00 3=0a64000000] [" +
                      kPrivateKey + ' ' + kEc + ' ' + kLYR + ' ' + kClient + ' ' + kTemporary +
                      " 1=01 2=01 103=01 162=00 108=01 170=00 3=0a65000000]"));
}

TEST_F(TemplatesTest, OfTheChainReachTheTokenByteForByteWithTheHandlesInTheirOrder) {
  // At first objects 1 and 2; the chain is 3, what is installed 4 to 6.
  for (const char* handles : {" [ ] [ 1 2 3 ]", " [ 5 6 4 ] [ 7 8 9 ]"}) {
    const auto chain = requestChain("device");
    std::string der;
    for (const auto& certificate : chain) der += Botan::hex_encode(certificate.BER_encode(), false);
    EXPECT_THAT(
        callsOf([&] { install(pem(chain)); }),
        ElementsAre(publicKeySearch(kTemporary), privateKeySearch(kTemporary),
                    "C_CreateObject 1 [" + kCertificate + " 80=0110008000000000 11=" + der + ' ' + kLYR +
                        " 1=01 3=0a66000000 102=66000000 " + kTemporary + ' ' + kClient + "]",
                    publicKeySearch(kInstalled), privateKeySearch(kInstalled), chainSearch(kInstalled),
                    std::string("set_client_cert_and_move_key 1") + handles));
  }
}

TEST_F(TemplatesTest, OfTheDevicesObjectsReachTheTokenByteForByte) {
  const auto certificate = [](const char* index) {
    return searchFor(kCertificate + " 3=01" + index + "000000");
  };
  EXPECT_THAT(callsOf([&] { product->generate_signature("BASE", {}, ""); }),
              ElementsAre(searchFor(kPrivateKey + " 3=010a000000")));
  EXPECT_THAT(callsOf([&] { product->get_zemp_vin(); }),
              ElementsAre(searchFor("3=0201000000 0=0000000000000000")));
  EXPECT_THAT(callsOf([&] { product->get_client_cert("ZEMP"); }),
              ElementsAre(certificate("0d"), certificate("0c")));
  EXPECT_THAT(callsOf([&] { product->get_client_cert("BASE"); }),
              ElementsAre(certificate("0b"), certificate("0f"), certificate("0e")));
}

}  // namespace ozk::tee
