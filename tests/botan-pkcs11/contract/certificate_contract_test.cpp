// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_x509.h>
#include <botan/x509self.h>

#include "contract_test.h"

namespace {

class CertificateTest : public UserTest {
 protected:
  using Certificate = PKCS11_X509_Certificate;

  Botan::X509_Certificate self_signed(const std::string& name) {
    const Botan::ECDSA_PrivateKey key(rng, group);
    return Botan::X509::create_self_signed_cert(Botan::X509_Cert_Options(name), key, "SHA-256", rng);
  }
};

ON_TOKENS(CertificateTest, kAllTokens);

TEST_P(CertificateTest, AreStoredAsTheyAreAndFoundByLabelIdAndSubject) {
  const auto first = self_signed("first"), second = self_signed("second");
  for (const auto& each : {first, second}) {
    X509_CertificateProperties properties(each);
    properties.set_label("label");
    properties.set_id(each.serial_number());
    const Certificate stored(session, properties);
    EXPECT_EQ(stored, each);
    EXPECT_EQ(unlock(stored.get_attribute_value(AttributeType::Value)), each.BER_encode());
  }
  EXPECT_THAT(Object::search<Certificate>(session, "label", first.serial_number()), ElementsAre(first));
  EXPECT_THAT(Object::search<Certificate>(session, "label"), testing::UnorderedElementsAre(first, second));
  AttributeContainer subject(ObjectClass::Certificate);
  subject.add_binary(AttributeType::Subject, second.raw_subject_dn());
  EXPECT_THAT(Object::search<Certificate>(session, subject.attributes()), ElementsAre(second));
}

TEST_P(CertificateTest, ThoseThatCannotBeDecodedAreStoredButNotRead) {
  EXPECT_THROW(Certificate(session, X509_CertificateProperties({0x30, 0}, {0x30, 1, 0})),
               Botan::Decoding_Error);
  EXPECT_THROW(Object::search<Certificate>(session), Botan::Decoding_Error);
  EXPECT_EQ(count(ObjectClass::Certificate), 1U) << "also, the search that failed has ended";
}

}  // namespace
