// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "base/attribute_table.h"

#include <algorithm>
#include <iterator>

#include "base/error.h"

namespace tee_token {
namespace {

constexpr Classes kKeys = kPublicKey | kPrivateKey;
constexpr Classes kNamed = kCertificate | kKeys;
constexpr Classes kOrdinary = kData | kNamed;
constexpr Classes kAll = kOrdinary | kTrustStoreGroup;

constexpr struct ClassRow {
  CK_OBJECT_CLASS object_class;
  Classes bit;
  const char* name;
} kClasses[] = {
    {CKO_DATA, kData, "data"},
    {CKO_CERTIFICATE, kCertificate, "certificate"},
    {CKO_PUBLIC_KEY, kPublicKey, "public key"},
    {CKO_PRIVATE_KEY, kPrivateKey, "private key"},
    {TEE_CKO_TRUST_STORE_GROUP, kTrustStoreGroup, "trust store group"},
};

#define RULE(type, layout, classes, fallback, setter) \
  { type, #type, Layout::layout, classes, Default::fallback, Setter::setter }

// clang-format off: a table; in ascending order of the type's number
constexpr AttributeRule kRules[] = {
    RULE(CKA_CLASS, kNumber, kAll, kRequired, kCreator),
    RULE(CKA_TOKEN, kBool, kAll, kFalse, kCreator),
    RULE(CKA_PRIVATE, kBool, kAll, kIfPrivateKey, kCreator),
    RULE(CKA_LABEL, kBytes, kAll, kEmpty, kAnytime),
    RULE(CKA_APPLICATION, kBytes, kData, kEmpty, kAnytime),
    RULE(CKA_VALUE, kBytes, kData | kCertificate | kPrivateKey, kContent, kCreator),
    RULE(CKA_OBJECT_ID, kBytes, kData, kEmpty, kAnytime),
    RULE(CKA_CERTIFICATE_TYPE, kNumber, kCertificate, kRequired, kCreator),
    RULE(CKA_ISSUER, kBytes, kCertificate, kEmpty, kAnytime),
    RULE(CKA_SERIAL_NUMBER, kBytes, kCertificate, kEmpty, kAnytime),
    RULE(CKA_TRUSTED, kBool, kCertificate | kPublicKey, kFalse, kOfficer),
    RULE(CKA_CERTIFICATE_CATEGORY, kNumber, kCertificate, kZero, kCreator),
    RULE(CKA_JAVA_MIDP_SECURITY_DOMAIN, kNumber, kCertificate, kZero, kCreator),
    RULE(CKA_URL, kBytes, kCertificate, kEmpty, kCreator),
    RULE(CKA_HASH_OF_SUBJECT_PUBLIC_KEY, kBytes, kCertificate, kEmpty, kCreator),
    RULE(CKA_HASH_OF_ISSUER_PUBLIC_KEY, kBytes, kCertificate, kEmpty, kCreator),
    RULE(CKA_NAME_HASH_ALGORITHM, kNumber, kCertificate, kNone, kCreator),
    RULE(CKA_CHECK_VALUE, kBytes, kCertificate, kEmpty, kCreator),
    RULE(CKA_KEY_TYPE, kNumber, kKeys, kRequired, kCreator),
    RULE(CKA_SUBJECT, kBytes, kNamed, kEmpty, kAnytimeOfKeys),
    RULE(CKA_ID, kBytes, kNamed, kEmpty, kAnytime),
    RULE(CKA_SENSITIVE, kBool, kPrivateKey, kTrue, kUpwards),
    RULE(CKA_ENCRYPT, kBool, kPublicKey, kFalse, kAnytime),
    RULE(CKA_DECRYPT, kBool, kPrivateKey, kFalse, kAnytime),
    RULE(CKA_WRAP, kBool, kPublicKey, kFalse, kAnytime),
    RULE(CKA_UNWRAP, kBool, kPrivateKey, kFalse, kAnytime),
    RULE(CKA_SIGN, kBool, kPrivateKey, kTrue, kAnytime),
    RULE(CKA_SIGN_RECOVER, kBool, kPrivateKey, kFalse, kAnytime),
    RULE(CKA_VERIFY, kBool, kPublicKey, kTrue, kAnytime),
    RULE(CKA_VERIFY_RECOVER, kBool, kPublicKey, kFalse, kAnytime),
    RULE(CKA_DERIVE, kBool, kKeys, kFalse, kAnytime),
    RULE(CKA_START_DATE, kDate, kNamed, kEmpty, kAnytimeOfKeys),
    RULE(CKA_END_DATE, kDate, kNamed, kEmpty, kAnytimeOfKeys),
    RULE(CKA_PUBLIC_KEY_INFO, kBytes, kNamed, kDerived, kCreator),
    RULE(CKA_EXTRACTABLE, kBool, kPrivateKey, kFalse, kDownwards),
    RULE(CKA_LOCAL, kBool, kKeys, kFalse, kToken),
    RULE(CKA_NEVER_EXTRACTABLE, kBool, kPrivateKey, kFalse, kToken),
    RULE(CKA_ALWAYS_SENSITIVE, kBool, kPrivateKey, kFalse, kToken),
    RULE(CKA_KEY_GEN_MECHANISM, kNumber, kKeys, kUnavailable, kToken),
    RULE(CKA_MODIFIABLE, kBool, kAll, kTrue, kCreator),
    RULE(CKA_COPYABLE, kBool, kAll, kTrue, kDownwards),
    RULE(CKA_DESTROYABLE, kBool, kAll, kTrue, kCreator),
    RULE(CKA_EC_PARAMS, kBytes, kKeys, kRequired, kCreator),
    RULE(CKA_EC_POINT, kBytes, kPublicKey, kContent, kCreator),
    RULE(CKA_ALWAYS_AUTHENTICATE, kBool, kPrivateKey, kFalse, kFalseOnly),
    RULE(CKA_WRAP_WITH_TRUSTED, kBool, kPrivateKey, kFalse, kUpwards),
    RULE(CKA_ALLOWED_MECHANISMS, kNumbers, kKeys, kNone, kCreator),
    RULE(TEE_CKA_VENDOR_KEY_ID, kBytes, kOrdinary, kNone, kCreator),
    RULE(TEE_CKA_VENDOR_CLIENT_ID, kBytes, kAll, kNone, kCreator),
    RULE(TEE_CKA_VENDOR_PERMANENT, kBool, kOrdinary, kNone, kFalseOnly),
    RULE(TEE_CKA_VENDOR_TRUST_STORE_GROUP, kBytes, kCertificate, kNone, kCreator),
};
// clang-format on

#undef RULE

constexpr bool ascends() {
  for (std::size_t i = 1; i < std::size(kRules); ++i) {
    if (kRules[i - 1].type >= kRules[i].type) {
      return false;
    }
  }
  return true;
}
static_assert(ascends(), "the search for a rule halves the table");

}  // namespace

const AttributeRule* AttributeRules::begin() const { return std::begin(kRules); }
const AttributeRule* AttributeRules::end() const { return std::end(kRules); }

const AttributeRule* find_rule(CK_ATTRIBUTE_TYPE type) {
  const auto* const found = std::lower_bound(
      std::begin(kRules), std::end(kRules), type,
      [](const AttributeRule& rule, CK_ATTRIBUTE_TYPE wanted) { return rule.type < wanted; });
  return found != std::end(kRules) && found->type == type ? found : nullptr;
}

const AttributeRule& rule_of(CK_ATTRIBUTE_TYPE type) {
  const AttributeRule* const rule = find_rule(type);
  if (rule == nullptr) {
    throw Error(CKR_ATTRIBUTE_TYPE_INVALID, "attribute " + std::to_string(type) + " is not known here");
  }
  return *rule;
}

Classes bit_of(CK_OBJECT_CLASS object_class) {
  for (const ClassRow& row : kClasses) {
    if (row.object_class == object_class) {
      return row.bit;
    }
  }
  throw Error(CKR_ATTRIBUTE_VALUE_INVALID,
              "objects of CKA_CLASS " + std::to_string(object_class) + " are not kept here");
}

const char* name_of_class(CK_OBJECT_CLASS object_class) {
  for (const ClassRow& row : kClasses) {
    if (row.object_class == object_class) {
      return row.name;
    }
  }
  return "object of an unknown class";
}

bool has_layout(const AttributeRule& rule, const Bytes& value) {
  switch (rule.layout) {
    case Layout::kBool:
      return value.size() == 1 && value[0] <= 1;
    case Layout::kNumber:
      return value.size() == sizeof(CK_ULONG);
    case Layout::kNumbers:
      return value.size() % sizeof(CK_ULONG) == 0;
    case Layout::kDate:
      return value.empty() || value.size() == sizeof(CK_DATE);
    default:
      return true;
  }
}

void require_layout(const AttributeRule& rule, const Bytes& value) {
  if (!has_layout(rule, value)) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, std::string(rule.name) + " does not take a value of " +
                                                 std::to_string(value.size()) + " bytes");
  }
}

}  // namespace tee_token
