// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/journal.h"

namespace ozk::tee {

using Botan::PKCS11::ReturnValue;
using test_support::pem;

class GetClientCertTest : public JournalTest {
 protected:
  /// A certificate on the token under group 1 and this index.
  Botan::X509_Certificate import(std::uint32_t index) {
    const auto certificate = test_support::CertificateAuthority("1_" + std::to_string(index)).root();
    test_support::UserSession session;
    test_support::importCertificate(*session, {label(1, index)}, certificate);
    return certificate;
  }

  void importGarbage(std::uint32_t index) {
    test_support::UserSession session;
    const Bytes garbage = {0x30, 0x03, 1, 2, 3};
    test_support::importCertificate(*session, {label(1, index)}, {garbage, garbage});
  }
};

TEST_F(GetClientCertTest, Lyr) {
  std::vector<Botan::X509_Certificate> chain;
  const auto get = [&] { EXPECT_EQ(product->get_client_cert("LYR"), pem(chain)); };
  for (const char* refused : {"LYR_CSR", "lyr", "BASE ", ""}) {
    expectInSession([&] { EXPECT_EQ(product->get_client_cert(refused), ""); }, {});
  }
  expectInSession(get, lookedUpChain(true, {}));
  chain = provision("installed");
  const auto length = chain[0].BER_encode().size() + chain[1].BER_encode().size();
  expectInSession(get, lookedUpChain(true, {kInstalledChain}) + read(kInstalledChain, CKA_VALUE, length));
}

TEST_F(GetClientCertTest, DeviceCertificatesComeInTheirOwnOrder) {
  const auto labelSearched = [](const std::string& index, const Handles& found) {
    return searched({objectClass(CKO_CERTIFICATE), labelled("01" + index + "000000")}, found);
  };
  importGarbage(11);                                                // object 1
  const auto c12 = import(12), c13 = import(13), c15 = import(15);  // 2, 3, 4
  import(12);                                                       // 5
  const auto certificateRead = [](Handle object, const Botan::X509_Certificate& certificate) {
    return read(object, CKA_VALUE, certificate.BER_encode().size());
  };
  expectInSession(
      [&] {
        EXPECT_EQ(product->get_client_cert("ZEMP"), pem({c13, c12}));
      },
      labelSearched("0d", {3}) + certificateRead(3, c13) + finished() +  //
          labelSearched("0c", {2, 5}) + certificateRead(2, c12) + finished());
  expectInSession(
      [&] { EXPECT_EQ(product->get_client_cert("BASE"), pem({c15})); },
      labelSearched("0b", {1}) + read(1, CKA_VALUE, 5) +
          Journal{failed("Exception thrown : CERTIFICATE decoding failed with BER: Value truncated")} +
          finished() + labelSearched("0f", {4}) + certificateRead(4, c15) + finished() +  //
          labelSearched("0e", {}) + finished());
}

TEST_F(GetClientCertTest, EachLabelHasItsStatus) {
  importGarbage(1);
  import(2);
  test_support::UserSession session;
  std::vector<ReturnValue> statuses = {ReturnValue::HostMemory};
  EXPECT_EQ(access.certificatesLabelled(*session, {"1_1", "1_2", "1_3", "none"}, statuses).size(), 1u);
  EXPECT_THAT(statuses, ElementsAre(ReturnValue::HostMemory, ReturnValue::DataInvalid, ReturnValue::OK,
                                    ReturnValue::FunctionFailed, ReturnValue::FunctionFailed));
  EXPECT_THROW(access.certificatesLabelled(*session, {"1_x"}, statuses), std::invalid_argument);
}

}  // namespace ozk::tee
