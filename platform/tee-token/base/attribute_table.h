// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/bytes.h"
#include "base/cryptoki.h"

namespace tee_token {

/// How the value of an attribute is laid out.
enum class Layout { kBool, kNumber, kNumbers, kDate, kBytes };

/// What an object has when its template does not say.
enum class Default {
  kNone,  // it does not have the attribute
  kFalse,
  kTrue,
  kIfPrivateKey,  // true for a private key, else false
  kZero,
  kUnavailable,
  kEmpty,
  kRequired,  // there is none: the template must say
  kContent,   // C_CreateObject must say (of data it may be empty), C_GenerateKeyPair finds it
  kDerived,   // of a key: what follows from its content, and nothing else; else empty
};

/// Who may set an attribute, and when.
enum class Setter {
  kCreator,        // at creation only
  kAnytime,        // also later, by C_SetAttributeValue
  kAnytimeOfKeys,  // the same, but of a certificate at creation only
  kUpwards,        // later only from false to true
  kDownwards,      // later only from true to false
  kOfficer,        // to true by the security officer alone
  kFalseOnly,      // to false at creation; true by the token alone, or never
  kToken,          // by the token alone
};

/// The object classes that have an attribute, as bits.
using Classes = unsigned;
constexpr Classes kData = 1, kCertificate = 2, kPublicKey = 4, kPrivateKey = 8, kTrustStoreGroup = 16;

/// One line of the attribute tables of PKCS #11 2.40 (base specification 4.4 to 4.10, mechanisms 2.3).
struct AttributeRule {
  CK_ATTRIBUTE_TYPE type;
  const char* name;
  Layout layout;
  Classes classes;
  Default fallback;
  Setter setter;
};

/// The rule for `type`; null when there is none.
const AttributeRule* find_rule(CK_ATTRIBUTE_TYPE type);

/// The rule for `type`. Throws CKR_ATTRIBUTE_TYPE_INVALID when there is none.
const AttributeRule& rule_of(CK_ATTRIBUTE_TYPE type);

/// The whole table.
struct AttributeRules {
  const AttributeRule* begin() const;
  const AttributeRule* end() const;
};

/// The bit of an object class; throws CKR_ATTRIBUTE_VALUE_INVALID for a class that the token does not keep.
Classes bit_of(CK_OBJECT_CLASS object_class);

/// Its name in messages, as "private key".
const char* name_of_class(CK_OBJECT_CLASS object_class);

/// Whether `value` has the layout that `rule` asks for.
bool has_layout(const AttributeRule& rule, const Bytes& value);

/// Throws CKR_ATTRIBUTE_VALUE_INVALID unless `value` has the layout that `rule` asks for.
void require_layout(const AttributeRule& rule, const Bytes& value);

}  // namespace tee_token
