// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

#include <dlfcn.h>
#include <sqlite3.h>

#include "store/object_store.h"
#include "store/token_record.h"

namespace token_test {

void* module_symbol(const char* name) {
  static void* const module = ::dlopen(TEE_TOKEN_MODULE, RTLD_NOW);
  return module == nullptr ? nullptr : ::dlsym(module, name);
}

TokenTest::TokenTest() {
  ::setenv("TEE_TOKEN_DIR", folder().c_str(), 1);
  ::setenv("TEE_TOKEN_LOG", "off", 1);
  const auto get_functions = reinterpret_cast<CK_C_GetFunctionList>(module_symbol("C_GetFunctionList"));
  EXPECT_EQ(answer(get_functions(&m_token)), OK);
  EXPECT_EQ(answer(m_token->C_Initialize(nullptr)), OK);
  EXPECT_EQ(init_token(kOfficerPin), OK);
  open();
  EXPECT_EQ(login(kOfficerPin, CKU_SO), OK);
  EXPECT_EQ(init_pin(kPin), OK);
  EXPECT_EQ(answer(m_token->C_Logout(m_session)), OK);
}

TokenTest::~TokenTest() { m_token->C_Finalize(nullptr); }

void TokenTest::restart() {
  EXPECT_EQ(answer(m_token->C_Finalize(nullptr)), OK);
  EXPECT_EQ(answer(m_token->C_Initialize(nullptr)), OK);
  open();
}

void TokenTest::open(CK_FLAGS flags) {
  EXPECT_EQ(answer(m_token->C_OpenSession(0, flags, nullptr, nullptr, &m_session)), OK);
}

Answer TokenTest::login(const Value& pin, CK_USER_TYPE user) {
  return answer(m_token->C_Login(m_session, user, const_cast<std::uint8_t*>(pin.data()), pin.size()));
}

Answer TokenTest::init_token(const Value& officer_pin) {
  unsigned char label[33] = "token under test                ";
  return answer(
      m_token->C_InitToken(0, const_cast<std::uint8_t*>(officer_pin.data()), officer_pin.size(), label));
}

Answer TokenTest::init_pin(const Value& pin) {
  return answer(m_token->C_InitPIN(m_session, const_cast<std::uint8_t*>(pin.data()), pin.size()));
}

Answer TokenTest::create(Template object, CK_OBJECT_HANDLE* handle) {
  CK_OBJECT_HANDLE ignored = 0;
  return answer(m_token->C_CreateObject(m_session, object.data(), object.size(),
                                        handle == nullptr ? &ignored : handle));
}

Answer TokenTest::destroy(CK_OBJECT_HANDLE object) {
  return answer(m_token->C_DestroyObject(m_session, object));
}

Handles TokenTest::generate(Template marks) {
  Template public_half = marks, private_half = marks;
  CK_MECHANISM mechanism = {CKM_EC_KEY_PAIR_GEN, nullptr, 0};
  Handles keys(2);
  public_half.add(CKA_EC_PARAMS, kP256).flag(CKA_TOKEN, true);
  private_half.flag(CKA_TOKEN, true);
  EXPECT_EQ(answer(m_token->C_GenerateKeyPair(m_session, &mechanism, public_half.data(), public_half.size(),
                                              private_half.data(), private_half.size(), &keys[0], &keys[1])),
            OK);
  return keys;
}

Handles TokenTest::find(Template wanted) {
  EXPECT_EQ(answer(m_token->C_FindObjectsInit(m_session, wanted.data(), wanted.size())), OK);
  Handles all;
  CK_OBJECT_HANDLE some[7];
  for (CK_ULONG count = 1; count != 0;) {
    count = 0;
    EXPECT_EQ(answer(m_token->C_FindObjects(m_session, some, 7, &count)), OK);
    all.insert(all.end(), some, some + count);
  }
  EXPECT_EQ(answer(m_token->C_FindObjectsFinal(m_session)), OK);
  return all;
}

Answer TokenTest::read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, Value& value) {
  CK_ATTRIBUTE attribute = {type, nullptr, 0};
  const CK_RV code = m_token->C_GetAttributeValue(m_session, object, &attribute, 1);
  if (code != CKR_OK) {
    return answer(code);
  }
  value.resize(attribute.ulValueLen);
  attribute.pValue = value.data();
  return answer(m_token->C_GetAttributeValue(m_session, object, &attribute, 1));
}

Value TokenTest::value_of(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
  Value value;
  EXPECT_EQ(read(object, type, value), OK);
  return value;
}

Answer TokenTest::sign(CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type, const Value& data, Value& signature) {
  CK_MECHANISM mechanism = {type, nullptr, 0};
  const CK_RV code = m_token->C_SignInit(m_session, &mechanism, key);
  if (code != CKR_OK) {
    return answer(code);
  }
  signature.assign(200, 0);
  CK_ULONG length = signature.size();
  const CK_RV signed_code = m_token->C_Sign(m_session, const_cast<std::uint8_t*>(data.data()), data.size(),
                                            signature.data(), &length);
  signature.resize(length);
  return answer(signed_code);
}

Answer TokenTest::verify(CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type, const Value& data,
                         const Value& signature) {
  CK_MECHANISM mechanism = {type, nullptr, 0};
  EXPECT_EQ(answer(m_token->C_VerifyInit(m_session, &mechanism, key)), OK);
  return answer(m_token->C_Verify(m_session, const_cast<std::uint8_t*>(data.data()), data.size(),
                                  const_cast<std::uint8_t*>(signature.data()), signature.size()));
}

void alter_store(const std::string& file, const std::string& sql) {
  sqlite3* store = nullptr;
  char* error = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &store), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(store, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
  sqlite3_close(store);
}

void make_permanent(const std::string& folder, const tee_token::Attributes& wanted) {
  tee_token::Database store(folder + "/token.db");
  const tee_token::Bytes device_key = tee_token::DeviceFolder(folder).device_key();
  const std::optional<tee_token::Login> nobody;
  tee_token::ObjectStore objects(
      store, tee_token::ObjectStore::mac_key(device_key, tee_token::token_serial(store).value()), nobody);
  tee_token::Attributes permanent;
  permanent.set_bool(TEE_CKA_VENDOR_PERMANENT, true);
  for (CK_OBJECT_HANDLE object = 0; (object = objects.next_match(wanted, object)) != 0;) {
    objects.update(object, permanent);
  }
}

}  // namespace token_test
