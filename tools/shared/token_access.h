// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>
#include <botan/p11_types.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tee_token/vendor_interface.h"

namespace tee_token_admin {

/// The token to work on, as the command line gives it.
struct Target {
  std::string module;      // empty: the platform's token
  std::string pin_hex;     // empty: the platform's user PIN
  std::string so_pin_hex;  // empty: the platform's security officer PIN
};

/// An error that the user can correct; the text says how.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The vendor's attributes, in the type of the PKCS#11 layer.
constexpr auto kKeyId = static_cast<Botan::PKCS11::AttributeType>(TEE_CKA_VENDOR_KEY_ID);
constexpr auto kClientId = static_cast<Botan::PKCS11::AttributeType>(TEE_CKA_VENDOR_CLIENT_ID);
constexpr auto kPermanent = static_cast<Botan::PKCS11::AttributeType>(TEE_CKA_VENDOR_PERMANENT);
constexpr auto kTrustStoreGroup = static_cast<Botan::PKCS11::AttributeType>(TEE_CKA_VENDOR_TRUST_STORE_GROUP);

/// Whether neither an option nor the environment names another module than the platform's.
bool is_platforms(const Target& target);

/// The bytes of a PIN in hexadecimal digits. Throws UsageError; `name` begins its text.
Botan::PKCS11::secure_string pin_of_hex(const std::string& hex, const std::string& name);

Botan::PKCS11::secure_string user_pin(const Target& target);
Botan::PKCS11::secure_string officer_pin(const Target& target);

/// The module, loaded, and its first slot.
class OpenSlot {
 public:
  /// Throws UsageError when the module has no slot; with `token_present`, tee_token::Error
  /// (CKR_TOKEN_NOT_PRESENT) when no slot has a token.
  OpenSlot(const Target& target, bool token_present);

  Botan::PKCS11::Slot& slot() { return *m_slot; }

 private:
  Botan::PKCS11::Module m_module;
  std::optional<Botan::PKCS11::Slot> m_slot;
};

/// A read-write session.
class TokenSession {
 public:
  /// Nobody is logged in yet.
  explicit TokenSession(const Target& target);

  /// Logs in as the user or the security officer, with the target's PIN.
  void login(Botan::PKCS11::UserType who);

  Botan::PKCS11::Session& session() { return m_session; }
  /// The object, which may be unreadable. Throws UsageError when there is none that whoever is logged in can
  /// see.
  Botan::PKCS11::Object object(Botan::PKCS11::ObjectHandle handle);
  /// The handles of all objects that match, in the token's order.
  std::vector<Botan::PKCS11::ObjectHandle> find(const Botan::PKCS11::AttributeContainer& wanted);

 private:
  Target m_target;
  OpenSlot m_slot;
  Botan::PKCS11::Session m_session;
};

/// The value of an attribute; empty when the object has none, or does not disclose it.
std::vector<std::uint8_t> value_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

/// The bytes of the value as text.
std::string text_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

/// CK_UNAVAILABLE_INFORMATION when the value is not a number.
CK_ULONG number_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

bool is_true(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

/// The five bytes of a label in text form, "1_10": the group, then the index, lowest byte first.
/// Throws UsageError for any other text.
std::vector<std::uint8_t> label_bytes(const std::string& text);

/// The text form of a label: "1_10"; of one that does not have five bytes, the bytes in hexadecimal.
std::string label_text(const std::vector<std::uint8_t>& bytes);

}  // namespace tee_token_admin
