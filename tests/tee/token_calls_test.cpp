// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/hex.h>

#include "api/product_test.h"
#include "tee/tee_session.h"
#include "tee/templates.h"

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

/// The calls with templates or handles that an operation makes.
std::vector<std::string> callsOf(const std::function<void()>& operation) {
  spytoken().take_calls();
  operation();
  std::vector<std::string> texts;
  for (const std::string& text : spytoken().take_texts()) {
    EXPECT_TRUE(text.rfind("C_FindObjects ", 0) != 0 || text == "C_FindObjects 1 100") << text;
    if (text.find('[') != std::string::npos) texts.push_back(text);
  }
  return texts;
}

class TemplatesTest : public ProductTest {};

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

TEST_F(TemplatesTest, HaveLabelsOfTheGroupsLowByteAndTheIndexInLittleEndian) {
  EXPECT_EQ(Botan::unlock(labelFromText("257_305419896")), Bytes({1, 0x78, 0x56, 0x34, 0x12}));
  EXPECT_EQ(Botan::unlock(labelFromText("111")), Bytes());
}

TEST_F(ProductTest, ASessionIsReadWriteOnTheFirstSlotAndLogsInOnRequest) {
  CK_FUNCTION_LIST two_slots = *spytoken().module().cryptoki;
  two_slots.C_GetSlotList = [](CK_BBOOL, CK_SLOT_ID* slots, CK_ULONG* count) -> CK_RV {
    *count = 2;
    if (slots != nullptr) slots[0] = 0, slots[1] = 4711;
    return CKR_OK;
  };
  spytoken().module().cryptoki = &two_slots;
  spytoken().take_calls();
  { const ::TEESession::TEESession session(true); }
  EXPECT_THAT(spytoken().take_texts(), ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_GetSlotList 1",
                                                   "C_GetSlotList 1", "C_OpenSession 0 6", "C_Login 1 1 9",
                                                   "C_Logout 1", "C_CloseSession 1", "C_Finalize"));
  { const ::TEESession::TEESession session(false); }
  EXPECT_EQ(spytoken().take_texts().size(), 7u) << "the same without login and logout";
}

#ifndef CCI_SANITIZED
// Looked for without a call, which would overwrite the stack of those before it.
TEST_F(ProductTest, ALoginLeavesNoPinOnTheStack) {
  static const char pin[] = "40718293";
  const ::TEESession::TEESession session(true);
  const char* const here = static_cast<const char*>(__builtin_frame_address(0));
  std::size_t equal = 0;
  for (const char* at = here - 0x4000; at != here && equal != 8; ++at)
    equal = *at == pin[equal] ? equal + 1 : 0;
  EXPECT_NE(equal, 8u);
}
#endif

}  // namespace ozk::tee
