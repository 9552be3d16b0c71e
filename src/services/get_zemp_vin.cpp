// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_object.h>

#include "api/client_cert_initializer.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

std::string ClientCertInitializer::get_zemp_vin() {
  std::string vin;
  TEESession::TEESession tee(true);
  if (!tee.m_valid) return vin;

  const auto sought = vinSearch();
  Botan::PKCS11::ObjectFinder finder(*tee.m_session, sought.attributes());
  const auto found = finder.find(kMaxFound);
  if (!found.empty()) {
    const Botan::PKCS11::Object object(*tee.m_session, found.front());
    const auto value = object.get_attribute_value(Botan::PKCS11::AttributeType::Value);
    vin.assign(value.begin(), value.end());
  }
  finder.finish();
  return vin;
}

}  // namespace tee
}  // namespace ozk
