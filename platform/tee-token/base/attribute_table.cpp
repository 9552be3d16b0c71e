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

// Attributes that searches use are in the index of the store; other attributes are compared in the records
// that the index finds. CKA_VALUE is not indexed: certificates would double the store, and sealed values
// never match.
constexpr bool kIndexed = true, kCompared = false;

#define RULE(type, layout, classes, fallback, setter, is_indexed) \
  { type, #type, Layout::layout, classes, Default::fallback, Setter::setter, is_indexed }

// clang-format off: a table; in ascending order of the type's number
constexpr AttributeRule kRules[] = {
    RULE(CKA_CLASS, kNumber, kAll, kRequired, kCreator, kIndexed),
    RULE(CKA_TOKEN, kBool, kAll, kFalse, kCreator, kCompared),
    RULE(CKA_PRIVATE, kBool, kAll, kIfPrivateKey, kCreator, kIndexed),
    RULE(CKA_LABEL, kBytes, kAll, kEmpty, kAnytime, kIndexed),
    RULE(CKA_APPLICATION, kBytes, kData, kEmpty, kAnytime, kIndexed),
    RULE(CKA_VALUE, kBytes, kData | kCertificate | kPrivateKey, kContent, kCreator, kCompared),
    RULE(CKA_OBJECT_ID, kBytes, kData, kEmpty, kAnytime, kIndexed),
    RULE(CKA_CERTIFICATE_TYPE, kNumber, kCertificate, kRequired, kCreator, kIndexed),
    RULE(CKA_ISSUER, kBytes, kCertificate, kEmpty, kAnytime, kIndexed),
    RULE(CKA_SERIAL_NUMBER, kBytes, kCertificate, kEmpty, kAnytime, kIndexed),
    RULE(CKA_TRUSTED, kBool, kCertificate | kPublicKey, kFalse, kOfficer, kIndexed),
    RULE(CKA_CERTIFICATE_CATEGORY, kNumber, kCertificate, kZero, kCreator, kCompared),
    RULE(CKA_JAVA_MIDP_SECURITY_DOMAIN, kNumber, kCertificate, kZero, kCreator, kCompared),
    RULE(CKA_URL, kBytes, kCertificate, kEmpty, kCreator, kCompared),
    RULE(CKA_HASH_OF_SUBJECT_PUBLIC_KEY, kBytes, kCertificate, kEmpty, kCreator, kCompared),
    RULE(CKA_HASH_OF_ISSUER_PUBLIC_KEY, kBytes, kCertificate, kEmpty, kCreator, kCompared),
    RULE(CKA_NAME_HASH_ALGORITHM, kNumber, kCertificate, kNone, kCreator, kCompared),
    RULE(CKA_CHECK_VALUE, kBytes, kCertificate, kEmpty, kCreator, kCompared),
    RULE(CKA_KEY_TYPE, kNumber, kKeys, kRequired, kCreator, kIndexed),
    RULE(CKA_SUBJECT, kBytes, kNamed, kEmpty, kAnytimeOfKeys, kIndexed),
    RULE(CKA_ID, kBytes, kNamed, kEmpty, kAnytime, kIndexed),
    RULE(CKA_SENSITIVE, kBool, kPrivateKey, kUnlessExtractable, kUpwards, kCompared),
    RULE(CKA_ENCRYPT, kBool, kPublicKey, kFalse, kAnytime, kCompared),
    RULE(CKA_DECRYPT, kBool, kPrivateKey, kFalse, kAnytime, kCompared),
    RULE(CKA_WRAP, kBool, kPublicKey, kFalse, kAnytime, kCompared),
    RULE(CKA_UNWRAP, kBool, kPrivateKey, kFalse, kAnytime, kCompared),
    RULE(CKA_SIGN, kBool, kPrivateKey, kTrue, kAnytime, kCompared),
    RULE(CKA_SIGN_RECOVER, kBool, kPrivateKey, kFalse, kAnytime, kCompared),
    RULE(CKA_VERIFY, kBool, kPublicKey, kTrue, kAnytime, kCompared),
    RULE(CKA_VERIFY_RECOVER, kBool, kPublicKey, kFalse, kAnytime, kCompared),
    RULE(CKA_DERIVE, kBool, kKeys, kFalse, kAnytime, kCompared),
    RULE(CKA_START_DATE, kDate, kNamed, kEmpty, kAnytimeOfKeys, kCompared),
    RULE(CKA_END_DATE, kDate, kNamed, kEmpty, kAnytimeOfKeys, kCompared),
    RULE(CKA_PUBLIC_KEY_INFO, kBytes, kNamed, kDerived, kCreator, kIndexed),
    RULE(CKA_EXTRACTABLE, kBool, kPrivateKey, kFalse, kDownwards, kCompared),
    RULE(CKA_LOCAL, kBool, kKeys, kFalse, kToken, kCompared),
    RULE(CKA_NEVER_EXTRACTABLE, kBool, kPrivateKey, kFalse, kToken, kCompared),
    RULE(CKA_ALWAYS_SENSITIVE, kBool, kPrivateKey, kFalse, kToken, kCompared),
    RULE(CKA_KEY_GEN_MECHANISM, kNumber, kKeys, kUnavailable, kToken, kCompared),
    RULE(CKA_MODIFIABLE, kBool, kAll, kTrue, kCreator, kCompared),
    RULE(CKA_COPYABLE, kBool, kAll, kTrue, kDownwards, kCompared),
    RULE(CKA_DESTROYABLE, kBool, kAll, kTrue, kCreator, kCompared),
    RULE(CKA_EC_PARAMS, kBytes, kKeys, kRequired, kCreator, kCompared),
    RULE(CKA_EC_POINT, kBytes, kPublicKey, kContent, kCreator, kIndexed),
    RULE(CKA_ALWAYS_AUTHENTICATE, kBool, kPrivateKey, kFalse, kFalseOnly, kCompared),
    RULE(CKA_WRAP_WITH_TRUSTED, kBool, kPrivateKey, kFalse, kUpwards, kCompared),
    RULE(CKA_ALLOWED_MECHANISMS, kNumbers, kKeys, kNone, kCreator, kCompared),
    RULE(TEE_CKA_VENDOR_KEY_ID, kBytes, kOrdinary, kNone, kCreator, kIndexed),
    RULE(TEE_CKA_VENDOR_CLIENT_ID, kBytes, kAll, kNone, kCreator, kIndexed),
    RULE(TEE_CKA_VENDOR_PERMANENT, kBool, kOrdinary, kNone, kFalseOnly, kIndexed),
    RULE(TEE_CKA_VENDOR_TRUST_STORE_GROUP, kBytes, kCertificate, kNone, kCreator, kIndexed),
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
static_assert(ascends(), "find_rule uses a binary search");

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
    throw Error(CKR_ATTRIBUTE_TYPE_INVALID, "the token has no attribute " + std::to_string(type));
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
              "the token does not store objects of CKA_CLASS " + std::to_string(object_class));
}

const char* name_of_class(CK_OBJECT_CLASS object_class) {
  for (const ClassRow& row : kClasses) {
    if (row.object_class == object_class) {
      return row.name;
    }
  }
  return "object of an unknown class";
}

namespace {

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

}  // namespace

void require_layout(const AttributeRule& rule, const Bytes& value) {
  if (!has_layout(rule, value)) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, std::string(rule.name) + " does not take a value of " +
                                                 std::to_string(value.size()) + " bytes");
  }
}

}  // namespace tee_token
