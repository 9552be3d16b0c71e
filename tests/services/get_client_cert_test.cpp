#include "api/product_test.h"

namespace ozk::tee {

using Botan::PKCS11::ReturnValue;
using test_support::pem;

class GetClientCertTest : public ProductTest {
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

TEST_F(GetClientCertTest, DeviceCertificatesComeInTheirOwnOrder) {
  const auto c15 = import(15), c14 = import(14), c13 = import(13), c12 = import(12), c11 = import(11);
  EXPECT_EQ(product->get_client_cert("BASE"), pem({c11, c15, c14}));
  EXPECT_EQ(product->get_client_cert("ZEMP"), pem({c13, c12}));
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(GetClientCertTest, WhatIsMissingOrUnreadableIsLeftOut) {
  importGarbage(11);
  const auto c14 = import(14), first12 = import(12);
  import(12);
  EXPECT_EQ(product->get_client_cert("ZEMP"), pem({first12}));
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_EQ(product->get_client_cert("BASE"), pem({c14}));
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, ara::log::LogLevel::kError);
  EXPECT_THAT(lines[0].text, ::testing::MatchesRegex("Exception thrown : .+"));
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
