// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecc_key.h>
#include <botan/p11_x509.h>

#include <iostream>

#include "commands.h"
#include "folder_lock.h"
#include "input_file.h"
#include "shared/label.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

// Two objects of one label: whoever looks for it would get the older one.
void require_free(TokenSession& user, ObjectClass object_class, const std::string& label) {
  AttributeContainer wanted(object_class);
  wanted.add_binary(AttributeType::Label, label_bytes(label));
  const std::vector<ObjectHandle> taken = user.find(wanted);
  if (!taken.empty()) {
    throw UsageError("label " + label + " is taken by object " + std::to_string(taken.front()) +
                     "; remove that first: tee-token destroy " + std::to_string(taken.front()));
  }
}

void store(const Target& target, const std::string& label, StorageObjectProperties& object) {
  object.set_token(true);
  object.set_modifiable(false);
  object.add_binary(AttributeType::Label, label_bytes(label));
  const FolderLock lock(target);
  TokenSession user(target);
  user.login(UserType::User);
  require_free(user, object.object_class(), label);
  const ObjectHandle handle = Object(user.session(), object).handle();
  std::cout << "stored " << label << " as object " << handle << "\n";
}

}  // namespace

void import_key(const Target& target, const std::string& label, const std::string& path) {
  const KeyParts key = read_key(path);
  EC_PrivateKeyImportProperties object(key.ec_params, key.value);
  object.set_private(true);
  object.set_sensitive(true);
  object.set_extractable(false);
  object.set_sign(true);
  store(target, label, object);
}

void import_certificate(const Target& target, const std::string& label, const std::string& path) {
  const Botan::X509_Certificate certificate = read_certificate(path);
  X509_CertificateProperties object(certificate);
  object.set_private(false);
  object.set_issuer(certificate.raw_issuer_dn());
  object.set_serial(certificate.serial_number());
  store(target, label, object);
}

void import_data(const Target& target, const std::string& label, const std::string& value) {
  DataObjectProperties object;
  object.set_private(true);
  object.set_value(secure_string(value.begin(), value.end()));
  store(target, label, object);
}

}  // namespace tee_token_admin
