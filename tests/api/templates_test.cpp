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

std::string hexOf(const Chain& chain) {
  std::string hex;
  for (const auto& certificate : chain) hex += Botan::hex_encode(certificate.BER_encode(), false);
  return hex;
}

class TemplatesTest : public ProductTest {
 protected:
  /// The calls with templates or handles that an operation makes, but for the reading of attributes.
  template <typename Operation>
  std::vector<std::string> callsOf(Operation operation) {
    spytoken().take_calls();
    operation();
    std::vector<std::string> texts;
    for (const auto& call : spytoken().take_calls()) {
      const bool reads = call.function == "C_GetAttributeValue";
      if (!reads && call.text.find('[') != std::string::npos) texts.push_back(call.text);
    }
    return texts;
  }
};

TEST_F(TemplatesTest, OfTheKeyPairReachTheTokenByteForByte) {
  EXPECT_THAT(
      callsOf([&] { product->generate_private_key("LYR_CSR"); }),
      ElementsAre(privateKeySearch(kTemporary),
                  searchFor(kPublicKey + ' ' + kClient + ' ' + kLYR + ' ' + kTemporary),
                  chainSearch(kTemporary),
                  "C_GenerateKeyPair 1 1040 [" + kPublicKey + ' ' + kEc + " 180=06082a8648ce3d030107 " +
                      kLYR + ' ' + kClient + ' ' + kTemporary + " 1=01 10a=01 2=00 170=00 3=0a64000000] [" +
                      kPrivateKey + ' ' + kEc + ' ' + kLYR + ' ' + kClient + ' ' + kTemporary +
                      " 1=01 2=01 103=01 162=00 108=01 170=00 3=0a65000000]"));
}

TEST_F(TemplatesTest, OfTheChainReachTheTokenByteForByteWithTheHandlesInTheirOrder) {
  const auto expected = [](const Chain& chain, const std::string& handles) {
    return std::vector<std::string>{publicKeySearch(kTemporary),
                                    privateKeySearch(kTemporary),
                                    "C_CreateObject 1 [" + kCertificate +
                                        " 80=0110008000000000 11=" + hexOf(chain) + ' ' + kLYR +
                                        " 1=01 3=0a66000000 102=66000000 " + kTemporary + ' ' + kClient + "]",
                                    publicKeySearch(kInstalled),
                                    privateKeySearch(kInstalled),
                                    chainSearch(kInstalled),
                                    "set_client_cert_and_move_key 1" + handles};
  };
  const auto first = requestChain("first");  // objects 1 and 2; the chain is 3, what is installed 4 to 6
  EXPECT_EQ(callsOf([&] { install(first); }), expected(first, " [ ] [ 1 2 3 ]"));
  const auto second = requestChain("second");
  EXPECT_EQ(callsOf([&] { install(second); }), expected(second, " [ 5 6 4 ] [ 7 8 9 ]"));
}

TEST_F(TemplatesTest, OfTheDevicesObjectsReachTheTokenByteForByte) {
  const auto certificateSearches = [](std::initializer_list<std::string> indices) {
    std::vector<std::string> searches;
    for (const auto& index : indices)
      searches.push_back(searchFor(kCertificate + " 3=01" + index + "000000"));
    return searches;
  };
  EXPECT_THAT(callsOf([&] { product->generate_signature("BASE", {}, ""); }),
              ElementsAre(searchFor(kPrivateKey + " 3=010a000000")));
  EXPECT_THAT(callsOf([&] { product->get_zemp_vin(); }),
              ElementsAre(searchFor("3=0201000000 0=0000000000000000")));
  EXPECT_EQ(callsOf([&] { product->get_client_cert("ZEMP"); }), certificateSearches({"0d", "0c"}));
  EXPECT_EQ(callsOf([&] { product->get_client_cert("BASE"); }), certificateSearches({"0b", "0f", "0e"}));
}

}  // namespace ozk::tee
