// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_trust_store_group.h>

#include "marked_objects.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

constexpr const char* kMarkedKeyId = "CHECK";

void add_copy(Template& to, const Attribute& attribute) {
  to.add_binary(static_cast<AttributeType>(attribute.type),
                static_cast<const std::uint8_t*>(attribute.pValue), attribute.ulValueLen);
}

}  // namespace

Template marked(const Template& of_library, const Mark& mark) {
  Template own;
  for (const Attribute& attribute : of_library.attributes()) {
    if (attribute.type == CKA_LABEL) {
      own.add_binary(AttributeType::Label, mark.label());
    } else if (attribute.type == TEE_CKA_VENDOR_CLIENT_ID) {
      own.add_string(kClientId, mark.client());
    } else if (attribute.type == TEE_CKA_VENDOR_KEY_ID) {
      own.add_string(kKeyId, kMarkedKeyId);
    } else {
      add_copy(own, attribute);
    }
  }
  return own;
}

Template chain_template(const Mark& mark, const std::vector<Botan::X509_Certificate>& certificates) {
  std::vector<std::uint8_t> value;
  for (const auto& certificate : certificates) {
    const std::vector<std::uint8_t> encoded = certificate.BER_encode();
    value.insert(value.end(), encoded.begin(), encoded.end());
  }
  TrustStoreGroupCertificateChainProperties object(value);
  library::addLYRCertificateChainAttributes(object, kMarkedKeyId);
  return marked(object, mark);
}

Template labelled(const std::vector<std::uint8_t>& label) {
  Template sought;
  sought.add_binary(AttributeType::Label, label);
  return sought;
}

Template without_vendor_attributes(const Template& all) {
  Template standard;
  for (const Attribute& attribute : all.attributes()) {
    if (attribute.type < CKA_VENDOR_DEFINED) {
      add_copy(standard, attribute);
    }
  }
  return standard;
}

}  // namespace tee_token_admin
