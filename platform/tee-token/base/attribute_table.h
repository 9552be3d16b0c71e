// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/bytes.h"
#include "tee_token/vendor_interface.h"

namespace tee_token {

/// The format of an attribute's value.
enum class Layout { kBool, kNumber, kNumbers, kDate, kBytes };

/// The value of an attribute that the template does not have.
enum class Default {
  kNone,  // the object does not have the attribute
  kFalse,
  kTrue,
  kIfPrivateKey,       // true for a private key, else false
  kUnlessExtractable,  // true unless the template asks for CKA_EXTRACTABLE
  kZero,
  kUnavailable,
  kEmpty,
  kRequired,  // the template must have the attribute
  kContent,   // required by C_CreateObject (except for data), computed by C_GenerateKeyPair
  kDerived,   // computed from the content of a key; empty for other objects
};

/// Who may set an attribute, and when.
enum class Setter {
  kCreator,        // at creation only
  kAnytime,        // also later, by C_SetAttributeValue
  kAnytimeOfKeys,  // the same for keys; for certificates at creation only
  kUpwards,        // at creation; later only from false to true
  kDownwards,      // at creation; later only from true to false
  kOfficer,        // at any time; to true only the security officer
  kFalseOnly,      // the creator, only to false
  kToken,          // only the token
};

/// A set of object classes, as bits.
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
  bool is_indexed;  // whether searches by it use the index of the store
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

/// The bit of an object class; throws CKR_ATTRIBUTE_VALUE_INVALID for a class that the token does not store.
Classes bit_of(CK_OBJECT_CLASS object_class);

/// The name of an object class in messages, for example "private key".
const char* name_of_class(CK_OBJECT_CLASS object_class);

/// Throws CKR_ATTRIBUTE_VALUE_INVALID unless `value` has the layout that `rule` asks for.
void require_layout(const AttributeRule& rule, const Bytes& value);

}  // namespace tee_token
