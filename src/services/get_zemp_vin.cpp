// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_object.h>

#include "api/client_cert_initializer.h"
#include "tee/search.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

std::string ClientCertInitializer::get_zemp_vin() {
  std::string vin;
  TEESession::TEESession tee(true);
  if (!tee.m_valid) return vin;

  search(*tee.m_session, vinSearch(), [&](const ObjectHandles& found) {
    if (found.empty()) return;
    const Botan::PKCS11::Object object(*tee.m_session, found.front());
    const auto value = object.get_attribute_value(Botan::PKCS11::AttributeType::Value);
    vin.assign(value.begin(), value.end());
  });
  return vin;
}

}  // namespace tee
}  // namespace ozk
