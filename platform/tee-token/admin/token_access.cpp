#include "token_access.h"

#include <botan/hex.h>

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

// The user PIN of the platform's tokens: eight digits and a zero byte.
constexpr std::uint8_t kUserPin[] = {'4', '0', '7', '1', '8', '2', '9', '3', 0};
constexpr std::uint8_t kOfficerPin[] = {'3', '9', '2', '8', '1', '7', '0', '4', 0};

template <std::size_t length>
secure_string pin_from(const std::string& hex, const std::uint8_t (&standard)[length], const char* option) {
  try {
    return hex.empty() ? secure_string(standard, standard + length) : Botan::hex_decode_locked(hex, false);
  } catch (const Botan::Exception&) {
    throw UsageError(std::string(option) + " takes the PIN's bytes as hexadecimal digits, two a byte");
  }
}

C_InitializeArgs locking() {
  return {nullptr, nullptr, nullptr, nullptr, static_cast<Flags>(Flag::OsLockingOk), nullptr};
}

}  // namespace

secure_string user_pin(const Target& target) { return pin_from(target.pin_hex, kUserPin, "--pin-hex"); }

secure_string officer_pin(const Target& target) {
  return pin_from(target.so_pin_hex, kOfficerPin, "--so-pin-hex");
}

OpenSlot::OpenSlot(const Target& target, bool token_present) : m_module(target.module, locking(), nullptr) {
  const std::vector<SlotId> slots = Slot::get_available_slots(m_module, token_present);
  if (slots.empty()) {
    throw UsageError(token_present
                         ? "there is no token; make one with: tee-token init (TEE_TOKEN_DIR says where)"
                         : "the module has no slot");
  }
  m_slot.emplace(m_module, slots.front());
}

TokenSession::TokenSession(const Target& target)
    : m_target(target), m_slot(target, true), m_session(m_slot.slot(), false) {}

void TokenSession::login(UserType who) {
  m_session.login(who, who == UserType::SO ? officer_pin(m_target) : user_pin(m_target));
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

}  // namespace tee_token_admin
