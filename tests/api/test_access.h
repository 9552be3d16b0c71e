// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <utility>
#include <vector>

#include "api/client_cert_initializer.h"

namespace ozk {
namespace tee {

/// An implementation object of the test's own, with what it keeps to itself.
struct ClientCertInitializerTestAccess {
  using Session = Botan::PKCS11::Session;
  using ObjectHandle = Botan::PKCS11::ObjectHandle;

  ObjectHandle privateKey(Session& session, bool permanent) const {
    return implementation.getLYRPrivateKeyHandle(session, permanent);
  }
  ResultCode deleteOldTemporaryKeys(Session& session) const {
    return implementation.deleteOldTemporaryKeys(session);
  }
  std::vector<Botan::X509_Certificate> certificatesIn(Session& session, std::string pem) const {
    return implementation.getCertificates(session, std::move(pem));
  }
  std::vector<Botan::X509_Certificate> certificatesLabelled(
      Session& session, const std::vector<std::string>& labels,
      std::vector<Botan::PKCS11::ReturnValue>& statuses) const {
    return implementation.getZEMPCerts(session, labels, statuses);
  }

  ClientCertInitializer implementation;
};

}  // namespace tee
}  // namespace ozk
