// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecdsa.h>
#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>
#include <botan/x509_key.h>

#include <iostream>

#include "commands.h"
#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

std::vector<Botan::X509_Certificate> certificates_of(TokenSession& token, const Object& object) {
  if (number_of(object, CKA_CERTIFICATE_TYPE) == TEE_CKC_CERTIFICATE_CHAIN) {
    return PKCS11_TSG_CertficateChain(token.session(), object.handle()).getx509CertificateChain();
  }
  const std::vector<ObjectHandle> handles =
      is_trust_group(object) ? roots_of(token, trust_group_of(object)) : std::vector{object.handle()};
  std::vector<Botan::X509_Certificate> certificates;
  for (const ObjectHandle handle : handles) {
    certificates.push_back(PKCS11_X509_Certificate(token.session(), handle));
  }
  return certificates;
}

std::string exported(TokenSession& token, const Object& object) {
  std::string pem;
  switch (number_of(object, CKA_CLASS)) {
    case CKO_DATA:
      return text_of(object, CKA_VALUE);
    case CKO_PUBLIC_KEY:
      return Botan::X509::PEM_encode(PKCS11_ECDSA_PublicKey(token.session(), object.handle()).export_key());
    case CKO_CERTIFICATE:
    case TEE_CKO_TRUST_STORE_GROUP:
      for (const Botan::X509_Certificate& certificate : certificates_of(token, object)) {
        pem += certificate.PEM_encode();
      }
      return pem;
    case CKO_PRIVATE_KEY:
      throw UsageError("object " + std::to_string(object.handle()) +
                       " is a private key, which does not leave the token; export its public key");
    default:
      throw UsageError("object " + std::to_string(object.handle()) + " has a class that cannot be exported");
  }
}

}  // namespace

void export_object(const Target& target, ObjectHandle handle) {
  TokenSession token(target);
  token.login(UserType::User);
  std::cout << exported(token, token.object(handle));
}

}  // namespace tee_token_admin
