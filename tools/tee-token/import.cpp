// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/data_src.h>
#include <botan/ecc_key.h>
#include <botan/p11_ecc_key.h>
#include <botan/p11_x509.h>
#include <botan/pkcs8.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <iostream>
#include <memory>

#include "commands.h"
#include "crypto/openssl_handles.h"
#include "shared/certificates.h"
#include "shared/token_access.h"
#include "shared/whole_file.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Bio = tee_token::Owned<BIO, BIO_free_all>;
using Pkcs8 = tee_token::Owned<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;

// Without it, an encrypted key would ask for its password.
int no_password(char*, int, int, void*) { return -1; }

/// Null when the text is no private key. Reads PKCS#8 and SEC 1, DER and PEM, which may begin with
/// parameters.
tee_token::PKey parse_key(const std::string& text) {
  const int size = static_cast<int>(text.size());
  if (text.find("-----BEGIN ") != std::string::npos) {
    const Bio bio(BIO_new_mem_buf(text.data(), size));
    return tee_token::PKey(PEM_read_bio_PrivateKey(bio.get(), nullptr, no_password, nullptr));
  }
  const auto* der = reinterpret_cast<const unsigned char*>(text.data());
  return tee_token::PKey(d2i_AutoPrivateKey(nullptr, &der, size));
}

/// Null when the file holds no EC key on a named curve. Botan reads PKCS#8 alone.
std::unique_ptr<Botan::EC_PrivateKey> read_key(const std::string& path) {
  const tee_token::PKey key = parse_key(tools::read_file(path));
  ERR_clear_error();
  if (key == nullptr || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_EC) {
    return nullptr;
  }
  const Pkcs8 info(EVP_PKEY2PKCS8(key.get()));
  Botan::secure_vector<std::uint8_t> der(
      static_cast<std::size_t>(i2d_PKCS8_PRIV_KEY_INFO(info.get(), nullptr)));
  std::uint8_t* end = der.data();
  i2d_PKCS8_PRIV_KEY_INFO(info.get(), &end);
  Botan::DataSource_Memory source(der);
  std::unique_ptr<Botan::EC_PrivateKey> read(
      dynamic_cast<Botan::EC_PrivateKey*>(Botan::PKCS8::load_key(source).release()));
  return read->domain().get_curve_oid().empty() ? nullptr : std::move(read);
}

// A search would find the older of two objects with one label.
void require_free(TokenSession& user, ObjectClass object_class, const std::string& label) {
  AttributeContainer wanted(object_class);
  wanted.add_binary(AttributeType::Label, label_bytes(label));
  const std::vector<ObjectHandle> taken = user.find(wanted);
  if (!taken.empty()) {
    const std::string handle = std::to_string(taken.front());
    throw UsageError("object " + handle + " has the label " + label +
                     "; remove it first: tee-token destroy " + handle);
  }
}

void store(const Target& target, const std::string& label, StorageObjectProperties& object) {
  object.set_token(true);
  object.set_modifiable(false);
  object.add_binary(AttributeType::Label, label_bytes(label));
  const tee_token::FileDescriptor lock = lock_token(target);
  TokenSession user(target);
  user.login(UserType::User);
  require_free(user, object.object_class(), label);
  const ObjectHandle handle = Object(user.session(), object).handle();
  std::cout << "stored " << label << " as object " << handle << "\n";
}

}  // namespace

void import_key(const Target& target, const std::string& label, const std::string& path) {
  const std::unique_ptr<Botan::EC_PrivateKey> key = read_key(path);
  if (key == nullptr) {
    throw UsageError("file '" + path + "' holds no unencrypted EC private key on a named curve (PEM or DER)");
  }
  EC_PrivateKeyImportProperties object(key->domain().DER_encode(Botan::EC_DOMPAR_ENC_OID),
                                       key->private_value());
  object.set_private(true);
  object.set_sensitive(true);
  object.set_extractable(false);
  object.set_sign(true);
  store(target, label, object);
}

void import_certificate(const Target& target, const std::string& label, const std::string& path) {
  const tools::Certificates found = tools::read_certificates(path);
  if (found.size() != 1) {
    throw UsageError("file '" + path + "' does not hold exactly one certificate");
  }
  X509_CertificateProperties object(found.front());
  object.set_private(false);
  object.set_issuer(found.front().raw_issuer_dn());
  object.set_serial(found.front().serial_number());
  store(target, label, object);
}

void import_data(const Target& target, const std::string& label, const std::string& value) {
  DataObjectProperties object;
  object.set_private(true);
  object.set_value(secure_string(value.begin(), value.end()));
  store(target, label, object);
}

}  // namespace tee_token_admin
