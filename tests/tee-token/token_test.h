// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/attributes.h"
#include "base/return_value_name.h"
#include "support/temporary_folder.h"
#include "tee_token/vendor_interface.h"

namespace token_test {

using Value = std::vector<std::uint8_t>;
using Handles = std::vector<CK_OBJECT_HANDLE>;

/// A Cryptoki answer; a failed comparison prints names.
enum class Answer : CK_RV {};
constexpr Answer OK{CKR_OK};
inline void PrintTo(Answer answer, std::ostream* out) {
  *out << tee_token::return_value_name(static_cast<CK_RV>(answer));
}

/// A Cryptoki template that owns its values.
class Template {
 public:
  Template& add(CK_ATTRIBUTE_TYPE type, const Value& value) {
    m_items.emplace_back(type, value);
    return *this;
  }
  Template& number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    Value bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return add(type, bytes);
  }
  Template& flag(CK_ATTRIBUTE_TYPE type, bool value) { return add(type, Value(1, value ? 1 : 0)); }
  Template& text(CK_ATTRIBUTE_TYPE type, const std::string& value) {
    return add(type, Value(value.begin(), value.end()));
  }

  /// Good until the next change.
  CK_ATTRIBUTE* data() {
    m_attributes.clear();
    for (auto& item : m_items) {
      m_attributes.push_back({item.first, item.second.data(), item.second.size()});
    }
    return m_attributes.data();
  }
  CK_ULONG size() const { return m_items.size(); }

 private:
  std::vector<std::pair<CK_ATTRIBUTE_TYPE, Value>> m_items;
  std::vector<CK_ATTRIBUTE> m_attributes;
};

inline Template Class(CK_OBJECT_CLASS object_class) { return Template().number(CKA_CLASS, object_class); }

/// The platform's user PIN, and one for the security officer.
const Value kPin = {'4', '0', '7', '1', '8', '2', '9', '3', 0};
const Value kOfficerPin = {'o', 'f', 'f', 'i', 'c', 'e', 'r'};
const Value kP256 = {0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};

/// Runs SQL on a store, behind the token's back.
void alter_store(const std::string& file, const std::string& sql);

/// Marks the objects that match as installed, as otherwise only an installation does.
void make_permanent(const std::string& folder, const tee_token::Attributes& wanted);

/// A token in a folder of its own, initialised, with a read-write session that nobody is logged in to.
/// The module is used through its two exported functions alone.
class TokenTest : public testing::Test {
 protected:
  TokenTest();
  ~TokenTest() override;

  /// C_Finalize and C_Initialize: what a new process would see.
  void restart();
  void open(CK_FLAGS flags = CKF_SERIAL_SESSION | CKF_RW_SESSION);
  Answer login(const Value& pin = kPin, CK_USER_TYPE user = CKU_USER);
  Answer init_token(const Value& officer_pin);
  Answer init_pin(const Value& pin);

  Answer create(Template object, CK_OBJECT_HANDLE* handle = nullptr);
  Answer destroy(CK_OBJECT_HANDLE object);
  /// A key pair on the token; both halves get the marks.
  Handles generate(Template marks = Template());
  Handles find(Template wanted = Template());
  Answer read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, Value& value);
  Value value_of(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
  Answer sign(CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE mechanism, const Value& data, Value& signature);
  Answer verify(CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE mechanism, const Value& data, const Value& signature);

  std::string file(const char* name) const { return (m_folder.path() / "token" / name).string(); }
  std::string folder() const { return (m_folder.path() / "token").string(); }
  /// Runs SQL on the store, behind the token's back.
  void alter_store(const std::string& sql) { token_test::alter_store(file("token.db"), sql); }

  CK_FUNCTION_LIST* m_token = nullptr;
  CK_SESSION_HANDLE m_session = 0;

 private:
  test_support::TemporaryFolder m_folder;
};

inline Answer answer(CK_RV code) { return Answer{code}; }

/// Symbol of the module under test.
void* module_symbol(const char* name);

}  // namespace token_test
