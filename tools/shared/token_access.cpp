// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/token_access.h"

#include <botan/exceptn.h>
#include <botan/hex.h>
#include <botan/loadstor.h>
#include <botan/p11_trust_store_group.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "base/error.h"
#include "store/device_folder.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

// The user PIN of the platform's tokens: eight digits and a zero byte.
constexpr std::uint8_t kUserPin[] = {'4', '0', '7', '1', '8', '2', '9', '3', 0};
constexpr std::uint8_t kOfficerPin[] = {'3', '9', '2', '8', '1', '7', '0', '4', 0};

C_InitializeArgs locking() {
  return {nullptr, nullptr, nullptr, nullptr, static_cast<Flags>(Flag::OsLockingOk), nullptr};
}

}  // namespace

bool is_platforms(const Target& target) {
  const char* const named = ::secure_getenv("TEE_PKCS11_MODULE");
  return target.module.empty() && (named == nullptr || *named == '\0');
}

secure_string pin_of_hex(const std::string& hex, const std::string& name) {
  try {
    return Botan::hex_decode_locked(hex, false);
  } catch (const Botan::Exception&) {
    throw UsageError(name + " must be in hexadecimal digits, two for each byte of the PIN");
  }
}

secure_string user_pin(const Target& target) {
  return target.pin_hex.empty() ? secure_string(std::begin(kUserPin), std::end(kUserPin))
                                : pin_of_hex(target.pin_hex, "--pin-hex");
}

secure_string officer_pin(const Target& target) {
  return target.so_pin_hex.empty() ? secure_string(std::begin(kOfficerPin), std::end(kOfficerPin))
                                   : pin_of_hex(target.so_pin_hex, "--so-pin-hex");
}

std::string absent_token() {
  const auto folder = tee_token::DeviceFolder::of_environment();
  return folder.path().empty() ? "no token; name its folder with TEE_TOKEN_DIR"
         : std::filesystem::exists(folder.path())
             ? folder.path() + " is a file, not a folder; correct TEE_TOKEN_DIR"
             : "no token in " + folder.path() + "; make one with tee-token init, or correct TEE_TOKEN_DIR";
}

OpenSlot::OpenSlot(const Target& target, bool token_present) : m_module(target.module, locking(), nullptr) {
  const std::vector<SlotId> slots = Slot::get_available_slots(m_module, token_present);
  if (slots.empty() && token_present) {
    throw tee_token::Error(CKR_TOKEN_NOT_PRESENT,
                           is_platforms(target) ? absent_token() : "no slot of the module has a token");
  }
  if (slots.empty()) {
    throw UsageError("the module has no slot");
  }
  m_slot.emplace(m_module, slots.front());
}

TokenSession::TokenSession(const Target& target)
    : m_target(target), m_slot(target, true), m_session(m_slot.slot(), false) {}

void TokenSession::login(UserType who) {
  m_session.login(who, who == UserType::SO ? officer_pin(m_target) : user_pin(m_target));
}

Object TokenSession::object(ObjectHandle handle) {
  Object found(m_session, handle);
  try {
    found.get_attribute_value(AttributeType::Class);
  } catch (const PKCS11_ReturnError& error) {
    if (error.get_return_value() == ReturnValue::ObjectHandleInvalid) {
      throw UsageError("no object " + std::to_string(handle) + "; see tee-token list");
    }
  }
  return found;
}

std::vector<ObjectHandle> TokenSession::find(const AttributeContainer& wanted) {
  std::vector<ObjectHandle> all;
  ObjectFinder finder(m_session, wanted.attributes());
  for (std::vector<ObjectHandle> some = finder.find(); !some.empty(); some = finder.find()) {
    all.insert(all.end(), some.begin(), some.end());
  }
  finder.finish();
  return all;
}

std::vector<std::uint8_t> value_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  try {
    return Botan::unlock(object.get_attribute_value(static_cast<AttributeType>(type)));
  } catch (const PKCS11_ReturnError& error) {
    if (error.get_return_value() != ReturnValue::AttributeTypeInvalid &&
        error.get_return_value() != ReturnValue::AttributeSensitive) {
      throw;
    }
    return {};
  }
}

std::string text_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  const std::vector<std::uint8_t> value = value_of(object, type);
  return std::string(value.begin(), value.end());
}

CK_ULONG number_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  const std::vector<std::uint8_t> value = value_of(object, type);
  CK_ULONG number = CK_UNAVAILABLE_INFORMATION;
  if (value.size() == sizeof number) {
    std::memcpy(&number, value.data(), sizeof number);
  }
  return number;
}

bool is_true(const Object& object, CK_ATTRIBUTE_TYPE type) {
  return value_of(object, type) == std::vector<std::uint8_t>{CK_TRUE};
}

std::vector<std::uint8_t> label_bytes(const std::string& text) {
  try {
    return encode_label(text);
  } catch (const Botan::Invalid_Argument& refused) {
    throw UsageError(refused.what());
  }
}

std::string label_text(const std::vector<std::uint8_t>& bytes) {
  if (bytes.size() != 5) {
    return Botan::hex_encode(bytes);
  }
  return std::to_string(bytes[0]) + "_" + std::to_string(Botan::load_le<std::uint32_t>(bytes.data() + 1, 0));
}

}  // namespace tee_token_admin
