// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/error.h"
#include "support/temporary_folder.h"
#include "tee_token/vendor_interface.h"

namespace token_test {

using Value = std::vector<std::uint8_t>;
using Handles = std::vector<CK_OBJECT_HANDLE>;

/// What a Cryptoki function returns; a failed comparison prints its name.
struct Answer {
  constexpr Answer(CK_RV value) : code(value) {}
  constexpr operator CK_RV() const { return code; }
  friend void PrintTo(Answer a, std::ostream* out) { *out << tee_token::return_value_name(a.code); }

  CK_RV code;
};
constexpr Answer OK = CKR_OK;
inline Answer answer(CK_RV code) { return code; }

/// A Cryptoki template that owns its values.
class Template {
 public:
  Template& add(CK_ATTRIBUTE_TYPE type, const Value& value) {
    m_items.emplace_back(type, value);
    return *this;
  }
  Template& number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(&value);
    return add(type, Value(first, first + sizeof value));
  }
  Template& flag(CK_ATTRIBUTE_TYPE type, bool value) { return add(type, Value(1, value ? 1 : 0)); }
  Template& text(CK_ATTRIBUTE_TYPE type, const std::string& value) {
    return add(type, Value(value.begin(), value.end()));
  }

  /// Valid until the next change.
  CK_ATTRIBUTE* data() {
    m_attributes.clear();
    for (auto& [type, value] : m_items) m_attributes.push_back({type, value.data(), value.size()});
    return m_attributes.data();
  }
  CK_ULONG size() const { return m_items.size(); }

 private:
  std::vector<std::pair<CK_ATTRIBUTE_TYPE, Value>> m_items;
  std::vector<CK_ATTRIBUTE> m_attributes;
};

inline Template Class(CK_OBJECT_CLASS object_class) { return Template().number(CKA_CLASS, object_class); }
/// A data object of the token.
inline Template data_object(const std::string& value) {
  return Class(CKO_DATA).flag(CKA_TOKEN, true).text(CKA_VALUE, value);
}

/// The platform's user PIN.
const Value kPin = {'4', '0', '7', '1', '8', '2', '9', '3', 0}, kNewPin = {'n', 'e', 'w', '-', 'p', 'i', 'n'};
const Value kOfficerPin = {'o', 'f', 'f', 'i', 'c', 'e', 'r'}, kWrongPin = {'w', 'r', 'o', 'n', 'g'};
const Value kP256 = {0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};

/// Bytes that a Cryptoki function only reads.
inline CK_BYTE* bytes(const Value& value) { return const_cast<CK_BYTE*>(value.data()); }

/// Runs SQL on a store, behind the token's back.
void alter_store(const std::string& file, const std::string& sql);
std::string content_of(const std::string& file);
CK_FUNCTION_LIST* cryptoki();

/// A token in a folder of its own, initialised, with a read-write session that nobody is logged in to.
class TokenTest : public testing::Test {
 protected:
  TokenTest();
  ~TokenTest() override { m_token->C_Finalize(nullptr); }

  /// C_Finalize and C_Initialize, then a session: what a new process would see.
  Answer restart() {
    m_token->C_Finalize(nullptr);
    m_token->C_Initialize(nullptr);
    return open();
  }
  Answer open(CK_FLAGS flags = CKF_SERIAL_SESSION | CKF_RW_SESSION) {
    return m_token->C_OpenSession(0, flags, nullptr, nullptr, &m_session);
  }
  Answer login(const Value& pin = kPin, CK_USER_TYPE user = CKU_USER) {
    return m_token->C_Login(m_session, user, bytes(pin), pin.size());
  }
  Answer login_officer() { return login(kOfficerPin, CKU_SO); }
  Answer logout() { return m_token->C_Logout(m_session); }
  Answer init_token() {
    unsigned char label[33] = "token under test                ";
    return m_token->C_InitToken(0, bytes(kOfficerPin), kOfficerPin.size(), label);
  }
  Answer init_pin(const Value& pin) { return m_token->C_InitPIN(m_session, bytes(pin), pin.size()); }

  Answer create(Template object, CK_OBJECT_HANDLE* made = &s_ignored) {
    return m_token->C_CreateObject(m_session, object.data(), object.size(), made);
  }
  Answer copy(CK_OBJECT_HANDLE object, Template changes = Template(), CK_OBJECT_HANDLE* made = &s_ignored) {
    return m_token->C_CopyObject(m_session, object, changes.data(), changes.size(), made);
  }
  Answer set(CK_OBJECT_HANDLE object, Template changes) {
    return m_token->C_SetAttributeValue(m_session, object, changes.data(), changes.size());
  }
  Answer destroy(CK_OBJECT_HANDLE object) { return m_token->C_DestroyObject(m_session, object); }
  /// A key pair on the token, the public half first, or two zeros; both halves get the marks.
  Handles generate(Template marks = Template());
  Handles find(Template wanted = Template());
  /// Leaves the value in m_result, up to 4000 bytes.
  Answer read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
  Value value_of(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) { return read(object, type), m_result; }
  /// Signs a byte with SHA-256 and leaves the signature in m_result.
  Answer sign(CK_OBJECT_HANDLE key);
  /// Of the objects of an identity that is not installed yet.
  static Template marks(const std::string& client = "CCI_CLIENT", const std::string& key = "LYR");
  CK_OBJECT_HANDLE store_chain(const Value& chain, Template object = marks());
  Answer install(const Handles& installed, const Handles& added);
  Handles installed() { return find(Template().flag(TEE_CKA_VENDOR_PERMANENT, true)); }

  /// What a program that starts now finds, in lines: the answers to its first session and to the PINs; the
  /// objects, and of a private key also the public key that verifies its signatures. Finalises the module.
  std::vector<std::string> state();

  std::string folder() const { return (m_folder.path() / "token").string(); }
  std::string file(const std::string& name) const { return folder() + "/" + name; }
  void alter_store(const std::string& sql) { token_test::alter_store(file("token.db"), sql); }

  CK_FUNCTION_LIST* const m_token = cryptoki();
  CK_SESSION_HANDLE m_session = 0;
  Value m_result;
  static inline CK_OBJECT_HANDLE s_ignored = 0;

 private:
  std::string described(CK_OBJECT_HANDLE object);

  test_support::TemporaryFolder m_folder;
};

}  // namespace token_test
