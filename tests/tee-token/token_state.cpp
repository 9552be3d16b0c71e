// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_state.h"

#include <algorithm>
#include <sstream>

namespace token_test {

namespace {

std::string name_of(Answer answer) { return tee_token::return_value_name(answer.code); }

}  // namespace

std::string TokenStateTest::state() {
  const Answer opened = restart();
  std::string text = name_of(opened) + "\n";
  if (opened == CKR_TOKEN_NOT_PRESENT || opened == CKR_TOKEN_NOT_RECOGNIZED) text = "no token\n";
  if (opened == OK) {
    CK_TOKEN_INFO info{};
    text = name_of(m_token->C_GetTokenInfo(0, &info));
    text += " " + std::string(info.label, info.label + sizeof info.label) + "\n";
    text += "user: " + pin_text(CKU_USER, kPin) + "\n";
    Handles keys, objects;
    const Answer found =
        find(Class(CKO_PRIVATE_KEY), keys) == OK ? find(Template(), objects) : CKR_DEVICE_ERROR;
    if (found != OK) text += "search: " + name_of(found) + "\n";
    for (const CK_OBJECT_HANDLE object : objects) {
      text += std::to_string(object) + ":" + attributes_text(object);
      const bool signs = std::count(keys.begin(), keys.end(), object) != 0;
      text += (signs ? verifier_text(object) : "") + "\n";
    }
    logout();
    text += "officer: " + pin_text(CKU_SO, kOfficerPin) + "\n";
  }
  m_token->C_Finalize(nullptr);
  return text;
}

std::string TokenStateTest::pin_text(CK_USER_TYPE user, const Value& pin) {
  const Answer first = login(pin, user);
  if (first == OK) return "PIN 0";
  return first == CKR_PIN_INCORRECT && login(kNewPin, user) == OK ? "PIN 1" : name_of(first);
}

std::string TokenStateTest::attributes_text(CK_OBJECT_HANDLE object) {
  // Points are left out: those of new keys are random.
  // clang-format off
  constexpr CK_ATTRIBUTE_TYPE kShown[] = {
      CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_LABEL, CKA_VALUE, CKA_TRUSTED, CKA_ID, CKA_SENSITIVE, CKA_EXTRACTABLE,
      CKA_SIGN, CKA_LOCAL, CKA_MODIFIABLE, CKA_DESTROYABLE, CKA_EC_PARAMS, CKA_SUBJECT, CKA_CERTIFICATE_TYPE,
      TEE_CKA_VENDOR_CLIENT_ID, TEE_CKA_VENDOR_KEY_ID, TEE_CKA_VENDOR_PERMANENT, TEE_CKA_VENDOR_TRUST_STORE_GROUP};
  // clang-format on
  std::vector<Value> values(std::size(kShown), Value(4000));
  std::vector<CK_ATTRIBUTE> attributes;
  for (std::size_t i = 0; i < values.size(); ++i) {
    attributes.push_back({kShown[i], values[i].data(), values[i].size()});
  }
  const Answer found = m_token->C_GetAttributeValue(m_session, object, attributes.data(), attributes.size());
  std::ostringstream text;
  if (found != OK && found != CKR_ATTRIBUTE_TYPE_INVALID && found != CKR_ATTRIBUTE_SENSITIVE) {
    text << ' ' << name_of(found);
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (attributes[i].ulValueLen == CK_UNAVAILABLE_INFORMATION) continue;
    values[i].resize(attributes[i].ulValueLen);
    text << ' ' << std::hex << kShown[i] << '=';
    for (const int byte : values[i]) text << (byte < 16 ? "0" : "") << byte;
  }
  return text.str();
}

std::string TokenStateTest::verifier_text(CK_OBJECT_HANDLE key) {
  Value signature;
  const Answer code = sign(key, CKM_ECDSA_SHA256, {1}, signature);
  if (code != OK) return " does not sign: " + name_of(code);
  std::string text = " without public key";
  Handles public_keys;
  find(Class(CKO_PUBLIC_KEY), public_keys);
  for (const CK_OBJECT_HANDLE public_key : public_keys) {
    const bool is_pair = verify(public_key, CKM_ECDSA_SHA256, {1}, signature) == OK;
    text = is_pair ? " pair of " + std::to_string(public_key) : text;
  }
  return text;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace token_test
