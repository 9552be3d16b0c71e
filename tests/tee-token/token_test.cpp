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

CK_MECHANISM s_signature = {CKM_ECDSA_SHA256, nullptr, 0};
CK_BYTE s_data = 1;

void* module_symbol(const char* name) {
  static void* const module = ::dlopen(TEE_TOKEN_MODULE, RTLD_NOW);
  return ::dlsym(module, name);
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

Answer TokenTest::read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
  m_result.resize(4000);
  CK_ATTRIBUTE attribute = {type, m_result.data(), m_result.size()};
  const Answer found = m_token->C_GetAttributeValue(m_session, object, &attribute, 1);
  m_result.resize(found == OK ? attribute.ulValueLen : 0);
  return found;
}

Answer TokenTest::sign(CK_OBJECT_HANDLE key) {
  CK_ULONG length = 64;
  m_result.resize(length);
  const CK_RV begun = m_token->C_SignInit(m_session, &s_signature, key);
  return begun != CKR_OK ? begun : m_token->C_Sign(m_session, &s_data, 1, m_result.data(), &length);
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
    for (const Value& pin : {kPin, kNewPin}) lines.push_back("user's PIN: " + return_value_name(login(pin)));
    for (const CK_OBJECT_HANDLE object : find()) lines.push_back(described(object));
    logout();
    lines.push_back("officer's PIN: " + return_value_name(login_officer()));
  }
  m_token->C_Finalize(nullptr);
  return lines;
}

std::string TokenTest::described(CK_OBJECT_HANDLE object) {
  std::string line = "object " + std::to_string(object);
  for (const CK_ATTRIBUTE_TYPE type : {CKA_CLASS, CKA_PRIVATE, CKA_LABEL, CKA_VALUE, TEE_CKA_VENDOR_CLIENT_ID,
                                       TEE_CKA_VENDOR_KEY_ID, TEE_CKA_VENDOR_PERMANENT}) {
    const Answer answer = read(object, type);
    if (answer == CKR_ATTRIBUTE_TYPE_INVALID || answer == CKR_ATTRIBUTE_SENSITIVE) continue;
    line += ' ' + std::to_string(type) + '=' + (answer == OK ? "" : return_value_name(answer));
    line.append(m_result.begin(), m_result.end());
  }
  if (sign(object) != OK) return line;
  std::string verifier;
  for (const CK_OBJECT_HANDLE key : find(Class(CKO_PUBLIC_KEY))) {
    m_token->C_VerifyInit(m_session, &s_signature, key);
    const CK_RV code = m_token->C_Verify(m_session, &s_data, 1, m_result.data(), m_result.size());
    if (code == CKR_OK) verifier = " for " + std::to_string(key);
  }
  return line + " signs" + verifier;
}

void alter_store(const std::string& file, const std::string& sql) {
  sqlite3* store = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &store), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(store, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
  sqlite3_close(store);
}

std::string content_of(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace token_test
