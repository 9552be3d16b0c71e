// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/ber_dec.h>
#include <botan/p11_trust_store_group.h>
#include <tee_token/vendor_interface.h>

#include <charconv>
#include <limits>
#include <optional>

namespace Botan {
namespace PKCS11 {

namespace {

/// `text` as a decimal number; nothing if it is not one or is above `limit`.
std::optional<uint32_t> parse_decimal(const std::string& text, uint32_t limit) {
  uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end || number > limit) {
    return std::nullopt;
  }
  return number;
}

}  // namespace

std::vector<uint8_t> encode_label(const std::string& label) {
  const size_t separator = label.find('_');
  if (separator != std::string::npos) {
    const auto group = parse_decimal(label.substr(0, separator), 0xFF);
    const auto index = parse_decimal(label.substr(separator + 1), std::numeric_limits<uint32_t>::max());
    if (group && index) {
      return {static_cast<uint8_t>(*group), static_cast<uint8_t>(*index), static_cast<uint8_t>(*index >> 8),
              static_cast<uint8_t>(*index >> 16), static_cast<uint8_t>(*index >> 24)};
    }
  }
  throw Invalid_Argument("'" + label + "' is not a label: expected GROUP_INDEX, as in 10_102");
}

TrustStoreGroupCertificateChainProperties::TrustStoreGroupCertificateChainProperties(
    std::vector<uint8_t> value)
    : CertificateProperties(static_cast<CertificateType>(TEE_CKC_CERTIFICATE_CHAIN)),
      m_value(std::move(value)) {
  add_binary(AttributeType::Value, m_value);
}

void TrustStoreGroupCertificateChainProperties::set_label(const std::string& label) {
  add_binary(AttributeType::Label, encode_label(label));
}

PKCS11_TSG_CertficateChain::PKCS11_TSG_CertficateChain(Session& session, ObjectHandle handle)
    : Object(session, handle), TrustStoreGroupCertificateChainProperties({}) {}

PKCS11_TSG_CertficateChain::PKCS11_TSG_CertficateChain(Session& session,
                                                       const TrustStoreGroupCertificateChainProperties& props)
    : Object(session, props), TrustStoreGroupCertificateChainProperties(props.value()) {
  for (const Attribute& attribute : props.attributes()) {
    add_binary(static_cast<AttributeType>(attribute.type), static_cast<const uint8_t*>(attribute.pValue),
               attribute.ulValueLen);
  }
}

std::vector<X509_Certificate> PKCS11_TSG_CertficateChain::getx509CertificateChain() const {
  const std::vector<uint8_t> encoded = unlock(get_attribute_value(AttributeType::Value));
  std::vector<X509_Certificate> certificates;
  BER_Decoder decoder(encoded);
  while (decoder.more_items()) {
    X509_Certificate certificate;
    certificate.decode_from(decoder);
    certificates.push_back(certificate);
  }
  return certificates;
}

/// Access to the vendor interface of a loaded module.
class VendorInterface {
 public:
  /// Null if the module has no vendor interface.
  static const TEE_FUNCTION_LIST* functions(const Module& module);
};

const TEE_FUNCTION_LIST* VendorInterface::functions(const Module& module) {
  TEE_C_GetInterface get_interface = nullptr;
  try {
    get_interface = module.m_library->resolve<TEE_C_GetInterface>("C_GetInterface");
  } catch (const Invalid_Argument&) {
    return nullptr;  // PKCS#11 2.40 does not have the function
  }
  unsigned char name[] = TEE_INTERFACE_NAME;
  TEE_INTERFACE* interface = nullptr;
  if (get_interface(name, nullptr, &interface, 0) != CKR_OK || interface == nullptr) {
    return nullptr;
  }
  return static_cast<const TEE_FUNCTION_LIST*>(interface->functions);
}

unsigned long setClientCertAndMoveKey(Session& session, std::vector<unsigned long> installed,
                                      std::vector<unsigned long> added) {
  const TEE_FUNCTION_LIST* const functions = VendorInterface::functions(session.module());
  if (functions == nullptr || functions->set_client_cert_and_move_key == nullptr) {
    return CKR_FUNCTION_NOT_SUPPORTED;
  }
  return functions->set_client_cert_and_move_key(session.handle(), installed.data(), installed.size(),
                                                 added.data(), added.size());
}

}  // namespace PKCS11
}  // namespace Botan
