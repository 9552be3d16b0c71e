// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/ecdsa.h>
#include <botan/p11_object.h>
#include <botan/p11_types.h>
#include <botan/p11_x509.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace test_support {

/// The platform's token, fresh, initialised and without objects, as long as this lives. The environment names
/// it, so that the library reaches it through the spy; sessions of a test's own do without the spy.
class ProvisionedToken {
 public:
  ProvisionedToken();
  ~ProvisionedToken();

  const std::filesystem::path& folder() const { return m_folder.path(); }

  /// Takes the token out of its slot, as it were.
  void remove();

 private:
  TemporaryFolder m_folder;
};

/// A read/write session on the platform's token, logged in. It needs a token without open sessions.
class UserSession {
 public:
  explicit UserSession(Botan::PKCS11::UserType user = Botan::PKCS11::UserType::User);

  Botan::PKCS11::Session& operator*() { return m_session; }

 private:
  Botan::PKCS11::Module m_module;
  Botan::PKCS11::Slot m_slot;
  Botan::PKCS11::Session m_session;
};

/// CKA_LABEL: group, then the index in 32 bits, little-endian.
std::vector<std::uint8_t> label(std::uint8_t group, std::uint32_t index);

/// What an imported object carries besides its value.
struct Marks {
  std::vector<std::uint8_t> label;
  std::string client = {};  ///< with `key_id`: a temporary object of that client; empty: none
  std::string key_id = {};
  bool destroyable = true;
};

Botan::PKCS11::ObjectHandle importPrivateKey(Botan::PKCS11::Session& session, const Marks& marks,
                                             const Botan::ECDSA_PrivateKey& key);
Botan::PKCS11::ObjectHandle importChain(Botan::PKCS11::Session& session, const Marks& marks,
                                        const std::vector<std::uint8_t>& value);
Botan::PKCS11::ObjectHandle importCertificate(Botan::PKCS11::Session& session, const Marks& marks,
                                              Botan::PKCS11::X509_CertificateProperties certificate);
Botan::PKCS11::ObjectHandle importData(Botan::PKCS11::Session& session, const Marks& marks,
                                       const std::string& value);

/// Stores a trust store group and its roots, as the security officer.
void addTrustStoreGroup(const std::string& group, const std::string& client,
                        const std::vector<Botan::X509_Certificate>& roots);

}  // namespace test_support
