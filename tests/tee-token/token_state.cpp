// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_state.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace token_test {

namespace {

constexpr CK_ATTRIBUTE_TYPE kShown[] = {CKA_CLASS,
                                        CKA_TOKEN,
                                        CKA_PRIVATE,
                                        CKA_LABEL,
                                        CKA_VALUE,
                                        CKA_TRUSTED,
                                        CKA_ID,
                                        CKA_SENSITIVE,
                                        CKA_EXTRACTABLE,
                                        CKA_SIGN,
                                        CKA_MODIFIABLE,
                                        CKA_DESTROYABLE,
                                        CKA_EC_PARAMS,
                                        CKA_EC_POINT,
                                        TEE_CKA_VENDOR_CLIENT_ID,
                                        CKA_CERTIFICATE_TYPE,
                                        CKA_SUBJECT,
                                        CKA_APPLICATION,
                                        TEE_CKA_VENDOR_KEY_ID,
                                        TEE_CKA_VENDOR_PERMANENT,
                                        TEE_CKA_VENDOR_TRUST_STORE_GROUP};

/// "OK" instead of CKR_OK; other codes by their names.
std::string name_of(CK_RV code) { return tee_token::return_value_name(code); }

std::string hexadecimal(const unsigned char* first, CK_ULONG length) {
  std::ostringstream text;
  for (CK_ULONG i = 0; i < length; ++i)
    text << std::hex << std::setw(2) << std::setfill('0') << int(first[i]);
  return text.str();
}

/// With what was found, the code of the search.
std::pair<Handles, CK_RV> find(const CK_FUNCTION_LIST& token, CK_SESSION_HANDLE session, Template wanted) {
  Handles found(1000);
  CK_ULONG count = 0;
  token.C_FindObjectsInit(session, wanted.data(), wanted.size());
  const CK_RV code = token.C_FindObjects(session, found.data(), found.size(), &count);
  token.C_FindObjectsFinal(session);
  found.resize(code == CKR_OK ? count : 0);
  return {found, code};
}

std::string attributes_text(const CK_FUNCTION_LIST& token, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                            bool with_point) {
  std::vector<Value> values(std::size(kShown), Value(4000));
  std::vector<CK_ATTRIBUTE> attributes;
  for (std::size_t i = 0; i < values.size(); ++i) {
    attributes.push_back({kShown[i], values[i].data(), values[i].size()});
  }
  const CK_RV code = token.C_GetAttributeValue(session, object, attributes.data(), attributes.size());
  const bool is_expected =
      code == CKR_OK || code == CKR_ATTRIBUTE_TYPE_INVALID || code == CKR_ATTRIBUTE_SENSITIVE;
  std::ostringstream text;
  if (!is_expected) text << ' ' << name_of(code);
  for (const CK_ATTRIBUTE& each : attributes) {
    if (each.ulValueLen == CK_UNAVAILABLE_INFORMATION || (each.type == CKA_EC_POINT && !with_point)) continue;
    text << ' ' << std::hex << each.type << '='
         << hexadecimal(static_cast<const unsigned char*>(each.pValue), each.ulValueLen);
  }
  return text.str();
}

std::string verifier_text(const CK_FUNCTION_LIST& token, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key) {
  CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
  unsigned char data[] = "data", signature[64];
  CK_ULONG length = sizeof signature;
  const CK_RV begun = token.C_SignInit(session, &mechanism, key);
  const CK_RV code = begun != CKR_OK ? begun : token.C_Sign(session, data, sizeof data, signature, &length);
  if (code != CKR_OK) return " does not sign: " + name_of(code);
  for (const CK_OBJECT_HANDLE public_key : find(token, session, Class(CKO_PUBLIC_KEY)).first) {
    if (token.C_VerifyInit(session, &mechanism, public_key) == CKR_OK &&
        token.C_Verify(session, data, sizeof data, signature, length) == CKR_OK) {
      return " pair of " + std::to_string(public_key);
    }
  }
  return " without public key";
}

/// Logs in with the first PIN that fits.
std::string pin_text(const CK_FUNCTION_LIST& token, CK_SESSION_HANDLE session, CK_USER_TYPE user,
                     const Pins& pins) {
  CK_RV code = CKR_OK;
  for (std::size_t i = 0; i < pins.size(); ++i) {
    code = token.C_Login(session, user, const_cast<unsigned char*>(pins[i].data()), pins[i].size());
    if (code == CKR_OK) return "PIN " + std::to_string(i);
    if (code != CKR_PIN_INCORRECT) break;
  }
  return name_of(code);
}

}  // namespace

std::string objects_text(const CK_FUNCTION_LIST& token, CK_SESSION_HANDLE session,
                         CK_OBJECT_HANDLE last_known) {
  const auto [private_keys, code] = find(token, session, Class(CKO_PRIVATE_KEY));
  const auto [objects, second_code] = find(token, session, Template());
  std::string text;
  if (code != CKR_OK || second_code != CKR_OK)
    text = "search: " + name_of(code) + name_of(second_code) + "\n";
  for (const CK_OBJECT_HANDLE object : objects) {
    text += std::to_string(object) + ":" + attributes_text(token, session, object, object <= last_known);
    const bool signs = std::count(private_keys.begin(), private_keys.end(), object) != 0;
    text += (signs ? verifier_text(token, session, object) : "") + "\n";
  }
  return text;
}

std::string token_text(const CK_FUNCTION_LIST& token, const Pins& user, const Pins& officer,
                       CK_OBJECT_HANDLE last_known) {
  token.C_Initialize(nullptr);
  CK_SESSION_HANDLE session = 0;
  const CK_RV code = token.C_OpenSession(0, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session);
  const bool no_token = code == CKR_TOKEN_NOT_PRESENT || code == CKR_TOKEN_NOT_RECOGNIZED;
  std::string text = no_token ? "none yet\n" : name_of(code) + "\n";
  if (code == CKR_OK) {
    CK_TOKEN_INFO info{};
    const CK_RV known = token.C_GetTokenInfo(0, &info);
    text = (known == CKR_OK ? "token " : name_of(known)) +
           std::string(reinterpret_cast<char*>(info.label), sizeof info.label) + "\n";
    text += "user: " + pin_text(token, session, CKU_USER, user) + "\n";
    text += objects_text(token, session, last_known);
    token.C_Logout(session);
    text += "officer: " + pin_text(token, session, CKU_SO, officer) + "\n";
  }
  token.C_Finalize(nullptr);
  return text;
}

std::string tries_text(const CK_FUNCTION_LIST& token) {
  token.C_Initialize(nullptr);
  CK_TOKEN_INFO info{};
  token.C_GetTokenInfo(0, &info);
  token.C_Finalize(nullptr);
  constexpr CK_FLAGS kTries = CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_FINAL_TRY | CKF_USER_PIN_LOCKED |
                              CKF_SO_PIN_COUNT_LOW | CKF_SO_PIN_FINAL_TRY | CKF_SO_PIN_LOCKED;
  std::ostringstream text;
  text << "tries: " << std::hex << (info.flags & kTries) << "\n";
  return text.str();
}

}  // namespace token_test
