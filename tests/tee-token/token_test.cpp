// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

#include <dlfcn.h>
#include <sqlite3.h>

#include <fstream>
#include <iterator>

namespace token_test {

using tee_token::return_value_name;

namespace {

void* module_symbol(const char* name) {
  static void* const module = ::dlopen(TEE_TOKEN_MODULE, RTLD_NOW);
  return module == nullptr ? nullptr : ::dlsym(module, name);
}

}  // namespace

CK_FUNCTION_LIST* cryptoki() {
  CK_FUNCTION_LIST* functions = nullptr;
  reinterpret_cast<CK_C_GetFunctionList>(module_symbol("C_GetFunctionList"))(&functions);
  return functions;
}

TokenTest::TokenTest() {
  ::setenv("TEE_TOKEN_DIR", folder().c_str(), 1);
  ::setenv("TEE_TOKEN_LOG", "off", 1);
  EXPECT_EQ(answer(m_token->C_Initialize(nullptr)), OK);
  EXPECT_EQ(init_token(), OK);
  EXPECT_EQ(open(), OK);
  EXPECT_EQ(login_officer(), OK);
  EXPECT_EQ(init_pin(kPin), OK);
  EXPECT_EQ(logout(), OK);
}

Answer TokenTest::restart() {
  m_token->C_Finalize(nullptr);
  m_token->C_Initialize(nullptr);
  return open();
}

Answer TokenTest::init_token() {
  unsigned char label[33] = "token under test                ";
  return m_token->C_InitToken(0, bytes(kOfficerPin), kOfficerPin.size(), label);
}

Handles TokenTest::generate(Template marks) {
  Template public_half = marks.flag(CKA_TOKEN, true), private_half = marks;
  public_half.add(CKA_EC_PARAMS, kP256);
  CK_MECHANISM mechanism = {CKM_EC_KEY_PAIR_GEN, nullptr, 0};
  Handles keys(2);
  m_token->C_GenerateKeyPair(m_session, &mechanism, public_half.data(), public_half.size(),
                             private_half.data(), private_half.size(), &keys[0], &keys[1]);
  return keys;
}

Handles TokenTest::find(Template wanted) {
  CK_ULONG count = 0;
  Handles found(1000);
  m_token->C_FindObjectsInit(m_session, wanted.data(), wanted.size());
  m_token->C_FindObjects(m_session, found.data(), found.size(), &count);
  m_token->C_FindObjectsFinal(m_session);
  found.resize(count);
  return found;
}

Answer TokenTest::read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, Value& value) {
  value.resize(4000);
  CK_ATTRIBUTE attribute = {type, value.data(), value.size()};
  const Answer found = m_token->C_GetAttributeValue(m_session, object, &attribute, 1);
  value.resize(found == OK ? attribute.ulValueLen : 0);
  return found;
}

Value TokenTest::value_of(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
  Value value;
  read(object, type, value);
  return value;
}

Answer TokenTest::sign(CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type, const Value& data, Value& signature) {
  CK_MECHANISM mechanism = {type, nullptr, 0};
  CK_ULONG length = 200;
  signature.resize(length);
  const Answer begun = m_token->C_SignInit(m_session, &mechanism, key);
  if (begun != OK) return begun;
  const Answer done = m_token->C_Sign(m_session, bytes(data), data.size(), signature.data(), &length);
  signature.resize(length);
  return done;
}

Answer TokenTest::verify(CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type, const Value& data,
                         const Value& signature) {
  CK_MECHANISM mechanism = {type, nullptr, 0};
  const Answer begun = m_token->C_VerifyInit(m_session, &mechanism, key);
  if (begun != OK) return begun;
  return m_token->C_Verify(m_session, bytes(data), data.size(), bytes(signature), signature.size());
}

Template TokenTest::marks(const std::string& client, const std::string& key) {
  Template marks = Template().text(TEE_CKA_VENDOR_CLIENT_ID, client).text(TEE_CKA_VENDOR_KEY_ID, key);
  return marks.flag(TEE_CKA_VENDOR_PERMANENT, false);
}

CK_OBJECT_HANDLE TokenTest::store_chain(const Value& chain, Template object) {
  CK_OBJECT_HANDLE handle = 0;
  object.number(CKA_CLASS, CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, TEE_CKC_CERTIFICATE_CHAIN);
  EXPECT_EQ(create(object.flag(CKA_TOKEN, true).add(CKA_VALUE, chain), &handle), OK);
  return handle;
}

Answer TokenTest::install(const Handles& installed, const Handles& added) {
  unsigned char name[] = TEE_INTERFACE_NAME;
  TEE_INTERFACE* interface = nullptr;
  reinterpret_cast<TEE_C_GetInterface>(module_symbol("C_GetInterface"))(name, nullptr, &interface, 0);
  return static_cast<const TEE_FUNCTION_LIST*>(interface->functions)
      ->set_client_cert_and_move_key(m_session, installed.data(), installed.size(), added.data(),
                                     added.size());
}

std::vector<std::string> TokenTest::state() {
  const Answer opened = restart();
  const bool is_empty = opened == CKR_TOKEN_NOT_RECOGNIZED;  // as good as none
  std::vector<std::string> lines = {return_value_name(is_empty ? CKR_TOKEN_NOT_PRESENT : opened.code)};
  if (opened == OK) {
    CK_TOKEN_INFO info{};
    lines.push_back(return_value_name(m_token->C_GetTokenInfo(0, &info)));
    lines.back().append(info.label, info.label + sizeof info.label);
    lines.push_back("user's PIN: " + pin_of(CKU_USER, kPin));
    for (const CK_OBJECT_HANDLE object : find()) lines.push_back(described(object));
    logout();
    lines.push_back("officer's PIN: " + pin_of(CKU_SO, kOfficerPin));
  }
  m_token->C_Finalize(nullptr);
  return lines;
}

std::string TokenTest::pin_of(CK_USER_TYPE user, const Value& first) {
  const Answer answer = login(first, user);
  if (answer == OK) return "first";
  return answer == CKR_PIN_INCORRECT && login(kNewPin, user) == OK ? "new" : return_value_name(answer.code);
}

std::string TokenTest::described(CK_OBJECT_HANDLE object) {
  std::string line = "object " + std::to_string(object);
  for (const CK_ATTRIBUTE_TYPE type : {CKA_CLASS, CKA_PRIVATE, CKA_LABEL, CKA_VALUE, TEE_CKA_VENDOR_CLIENT_ID,
                                       TEE_CKA_VENDOR_KEY_ID, TEE_CKA_VENDOR_PERMANENT}) {
    Value value;
    const Answer answer = read(object, type, value);
    if (answer == CKR_ATTRIBUTE_TYPE_INVALID || answer == CKR_ATTRIBUTE_SENSITIVE) continue;
    line += ' ' + std::to_string(type) + '=' + (answer == OK ? "" : return_value_name(answer.code));
    line.append(value.begin(), value.end());
  }
  Value signature;
  if (sign(object, CKM_ECDSA_SHA256, {1}, signature) != OK) return line;
  CK_OBJECT_HANDLE verifier = 0;
  for (const CK_OBJECT_HANDLE key : find(Class(CKO_PUBLIC_KEY))) {
    if (verify(key, CKM_ECDSA_SHA256, {1}, signature) == OK) verifier = key;
  }
  return line + " signs" + (verifier != 0 ? " for " + std::to_string(verifier) : "");
}

void alter_store(const std::string& file, const std::string& sql) {
  sqlite3* store = nullptr;
  char* error = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &store), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(store, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
  sqlite3_close(store);
}

std::string content_of(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace token_test
