#include "api/product_test.h"

namespace ozk::tee {

// The text comes from a backend: whatever it is, reading it ends, and keeps what can be read.
TEST_F(ProductTest, CertificatesAreReadFromAnyText) {
  const std::string one = authority.root().PEM_encode();
  const std::string two = test_support::CertificateAuthority("second").root().PEM_encode();
  const auto encoding = authority.root().BER_encode();
  const std::string der(encoding.begin(), encoding.end());
  std::string crlf = one;
  for (auto i = crlf.find('\n'); i != std::string::npos; i = crlf.find('\n', i + 2)) crlf.insert(i, "\r");
  const std::string garbage = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";

  const struct {
    std::string name, text;
    std::size_t certificates, records;
  } cases[] = {{"empty", "", 0, 0},
               {"two", one + two, 2, 0},
               {"CRLF", crlf + crlf, 2, 0},
               {"text before and between", "root:\n" + one + "\n\nnext:\n" + two, 2, 0},
               {"blank lines at the end", one + "\n\n", 1, 0},
               {"words at the end", one + "the end", 1, 0},
               {"zero bytes at the end", one + std::string(3, '\0'), 1, 0},
               {"damaged first", garbage + two, 1, 1},
               {"damaged last", one + garbage, 1, 1},
               {"other label", "-----BEGIN X-----\nAAAA\n-----END X-----\n" + one, 1, 1},
               {"cut", one.substr(0, one.size() / 2), 0, 0},
               {"no end", one.substr(0, one.find("-----END")), 0, 0},
               {"DER", der, 1, 0},
               {"DER twice", der + der, 2, 0},
               {"cut DER", der.substr(0, 4), 0, 0},
               {"a lone sequence tag", "0", 0, 0},
               {"sequence tags", std::string(5, '0'), 0, 2},
               {"garbage", "\x01\x02\x03", 0, 0}};
  const auto record = error("ClientCertInitializer::getCertificates: failed to decode certificate");
  test_support::UserSession session;
  for (const auto& c : cases) {
    EXPECT_EQ(access.certificatesIn(*session, c.text).size(), c.certificates) << c.name;
    EXPECT_EQ(log.take(), std::vector<test_support::LogLine>(c.records, record)) << c.name;
  }
}

}  // namespace ozk::tee
