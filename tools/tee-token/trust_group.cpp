// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_x509.h>

#include <iostream>

#include "commands.h"
#include "shared/certificates.h"
#include "shared/shown_text.h"
#include "shared/token_access.h"

namespace tee_token_admin {

using shown_text::shown;

using namespace Botan::PKCS11;

namespace {

std::string name_of(const TrustGroup& group) {
  return "trust group " + shown(group.identifier) + " of client " + shown(group.client);
}

ObjectHandle store(TokenSession& token, const TrustGroup& group, StorageObjectProperties& object) {
  object.set_token(true);
  object.set_private(false);
  object.set_modifiable(false);
  object.add_string(kClientId, group.client);
  return Object(token.session(), object).handle();
}

void store_root(TokenSession& token, const TrustGroup& group, const Botan::X509_Certificate& root) {
  X509_CertificateProperties object(root);
  object.set_trusted(true);
  object.add_string(kTrustStoreGroup, group.identifier);
  store(token, group, object);
}

StorageObjectProperties group_object(const TrustGroup& group) {
  StorageObjectProperties object(static_cast<ObjectClass>(TEE_CKO_TRUST_STORE_GROUP));
  object.set_label(group.identifier);
  return object;
}

void require_absent(TokenSession& token, const TrustGroup& group) {
  StorageObjectProperties wanted = group_object(group);
  wanted.add_string(kClientId, group.client);
  const std::vector<ObjectHandle> present = token.find(wanted);
  if (!present.empty()) {
    const std::string handle = std::to_string(present.front());
    throw UsageError("object " + handle + " is the " + name_of(group) +
                     " already; remove it first, with its roots: tee-token destroy " + handle);
  }
}

}  // namespace

bool is_trust_group(const Object& object) {
  return number_of(object, CKA_CLASS) == TEE_CKO_TRUST_STORE_GROUP;
}

bool is_officers(const Object& object) { return is_trust_group(object) || is_true(object, CKA_TRUSTED); }

TrustGroup trust_group_of(const Object& object) {
  return {text_of(object, CKA_LABEL), text_of(object, TEE_CKA_VENDOR_CLIENT_ID)};
}

std::vector<ObjectHandle> roots_of(TokenSession& token, const TrustGroup& group) {
  CertificateProperties wanted(CertificateType::X509);
  wanted.set_trusted(true);
  wanted.add_string(kClientId, group.client);
  wanted.add_string(kTrustStoreGroup, group.identifier);
  return token.find(wanted);
}

std::size_t destroy_roots_of(TokenSession& token, const TrustGroup& group) {
  const std::vector<ObjectHandle> roots = roots_of(token, group);
  for (const ObjectHandle root : roots) {
    Object(token.session(), root).destroy();
  }
  return roots.size();
}

void add_trust_group(const Target& target, const TrustGroup& group,
                     const std::optional<std::string>& roots_file) {
  if (group.identifier.empty() || group.client.empty()) {
    throw UsageError("a trust group needs an identifier and a client, neither empty");
  }
  const tools::Certificates roots =
      roots_file ? tools::read_certificates(*roots_file) : tools::Certificates();
  const tee_token::FileDescriptor lock = lock_token(target);
  TokenSession token(target);
  token.login(UserType::SO);
  require_absent(token, group);
  // The group's object comes last: an interrupted run leaves no partial group, only roots that the next one
  // removes.
  destroy_roots_of(token, group);
  for (const Botan::X509_Certificate& root : roots) {
    store_root(token, group, root);
  }
  StorageObjectProperties object = group_object(group);
  const ObjectHandle handle = store(token, group, object);
  std::cout << "stored " << name_of(group) << " with " << shown_text::counted(roots.size(), "root")
            << " as object " << handle << "\n";
}

}  // namespace tee_token_admin
