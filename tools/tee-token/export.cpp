// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecdsa.h>
#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>
#include <botan/x509_key.h>

#include <iostream>

#include "commands.h"
#include "shared/object_attributes.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

std::string pem_of(const std::vector<Botan::X509_Certificate>& certificates) {
  std::string pem;
  for (const Botan::X509_Certificate& certificate : certificates) {
    pem += certificate.PEM_encode();
  }
  return pem;
}

std::string pem_of_certificates(Session& session, const Object& object) {
  return number_of(object, CKA_CERTIFICATE_TYPE) == TEE_CKC_CERTIFICATE_CHAIN
             ? pem_of(PKCS11_TSG_CertficateChain(session, object.handle()).getx509CertificateChain())
             : PKCS11_X509_Certificate(session, object.handle()).PEM_encode();
}

std::string pem_of_roots(TokenSession& token, const TrustGroup& group) {
  std::string pem;
  for (const ObjectHandle root : roots_of(token, group)) {
    pem += PKCS11_X509_Certificate(token.session(), root).PEM_encode();
  }
  return pem;
}

std::string exported(TokenSession& token, const Object& object) {
  switch (number_of(object, CKA_CLASS)) {
    case CKO_DATA:
      return text_of(object, CKA_VALUE);
    case CKO_PUBLIC_KEY:
      return Botan::X509::PEM_encode(PKCS11_ECDSA_PublicKey(token.session(), object.handle()).export_key());
    case CKO_CERTIFICATE:
      return pem_of_certificates(token.session(), object);
    case TEE_CKO_TRUST_STORE_GROUP:
      return pem_of_roots(token, trust_group_of(object));
    case CKO_PRIVATE_KEY:
      throw UsageError("object " + std::to_string(object.handle()) +
                       " is a private key, which does not leave the token; export its public key");
    default:
      throw UsageError("object " + std::to_string(object.handle()) + " is of a class that is not exported");
  }
}

}  // namespace

void export_object(const Target& target, ObjectHandle handle) {
  TokenSession token(target);
  token.login(UserType::User);
  std::cout << exported(token, Object(token.session(), handle));
}

}  // namespace tee_token_admin
