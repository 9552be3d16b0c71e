// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>

#include "api/client_cert_initializer.h"
#include "api/logging.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::AttributeContainer;
using Botan::PKCS11::ObjectFinder;
using Botan::PKCS11::ObjectHandle;
using Botan::PKCS11::Session;

using Handles = std::vector<ObjectHandle>;

ObjectHandle firstOf(const Handles& found) { return found.empty() ? 0 : found.front(); }

/// Returns the first match, or 0. Logs `count_text` and the number of matches before it finishes the search.
ObjectHandle findFirst(const ara::log::Logger& logger, Session& session, const AttributeContainer& sought,
                       const std::string& count_text) {
  ObjectFinder finder(session, sought.attributes());
  const Handles found = finder.find(kMaxFound);
  logDebug(logger, count_text + std::to_string(found.size()));
  finder.finish();
  return firstOf(found);
}

ObjectHandle failed(const ara::log::Logger& logger, const std::string& text, const Botan::Exception& error) {
  logError(logger, text + error.what());
  return 0;
}

}  // namespace

ObjectHandle ClientCertInitializer::getLYRPublicKeyHandle(Session& session, bool permanent) const {
  logDebug(m_logger, "ClientCertInitializer::getLYRPublicKeyHandle : ==>");
  logDebug(m_logger, permanent ? "ClientCertInitializer::getLYRPublicKeyHandle : Search Permanent Pub key"
                               : "ClientCertInitializer::getLYRPublicKeyHandle : Search LYR");
  try {
    const ObjectHandle key =
        findFirst(m_logger, session, lyrPublicKeySearch(permanent),
                  "ClientCertInitializer::getLYRPublicKeyHandle : count of public key found = ");
    logDebug(m_logger, "ClientCertInitializer::getLYRPublicKeyHandle : <==");
    return key;
  } catch (const Botan::Exception& error) {
    return failed(m_logger,
                  permanent ? "Exception to get permanent LYR public key handle with exception "
                            : "Exception to get temporary LYR public key handle with exception ",
                  error);
  }
}

ObjectHandle ClientCertInitializer::getLYRPrivateKeyHandle(Session& session, bool permanent) const {
  try {
    return findFirst(m_logger, session, lyrPrivateKeySearch(permanent),
                     "ClientCertInitializer::getLYRPrivateKeyHandle : count of private key found = ");
  } catch (const Botan::Exception& error) {
    return failed(m_logger,
                  permanent ? "Exception to get permanent LYR private key handle with exception "
                            : "Exception to get temporary LYR private key handle with exception ",
                  error);
  }
}

ObjectHandle ClientCertInitializer::getBASEPrivateKeyHandle(Session& session) const {
  try {
    const AttributeContainer sought = basePrivateKeySearch();
    ObjectFinder finder(session, sought.attributes());
    const Handles found = finder.find(kMaxFound);
    finder.finish();
    logDebug(m_logger, "After Private Key finding, Private count = " + std::to_string(found.size()));
    return firstOf(found);
  } catch (const Botan::Exception& error) {
    return failed(m_logger, "Exception to get permanent BASE private key handle with exception ", error);
  }
}

ObjectHandle ClientCertInitializer::getLYRCertificateChainHandle(Session& session, bool permanent) const {
  logDebug(m_logger, "ClientCertInitializer::getLYRCertificateChainHandle");
  try {
    return findFirst(m_logger, session, lyrCertificateChainSearch(permanent),
                     "ClientCertInitializer::getLYRCertificateChainHandle : No of chain objects found = ");
  } catch (const Botan::Exception& error) {
    return failed(m_logger, "Exception to get LYR certificate chain handle with exception ", error);
  }
}

}  // namespace tee
}  // namespace ozk
