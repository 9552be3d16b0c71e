// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "objects/new_object.h"

#include "base/error.h"
#include "crypto/ec_key.h"

namespace tee_token {
namespace {

[[noreturn]] void refuse(const AttributeRule& rule, CK_RV code, const std::string& reason) {
  throw Error(code, std::string(rule.name) + " " + reason);
}

// The rules that hold for an attribute in every template, whatever the call.
void require_allowed(const AttributeRule& rule, const Bytes& value, Classes object_class, Creator creator) {
  if ((rule.classes & object_class) == 0) {
    refuse(rule, CKR_TEMPLATE_INCONSISTENT, "does not belong to this object class");
  }
  const bool is_true = rule.layout == Layout::kBool && value[0] != CK_FALSE;
  if (rule.setter == Setter::kToken) {
    refuse(rule, CKR_ATTRIBUTE_READ_ONLY, "is set only by the token");
  }
  if (rule.setter == Setter::kOfficer && is_true && creator != Creator::kSecurityOfficer) {
    refuse(rule, CKR_ATTRIBUTE_READ_ONLY, "can be set only by the security officer");
  }
  if (rule.setter == Setter::kFalseOnly && is_true) {
    refuse(rule, CKR_ATTRIBUTE_READ_ONLY, "cannot be set to true by a caller");
  }
}

Bytes value_of(Default fallback, Classes object_class, const Attributes& given) {
  switch (fallback) {
    case Default::kIfPrivateKey:
      return Bytes(1, object_class == kPrivateKey ? CK_TRUE : CK_FALSE);
    case Default::kUnlessExtractable:
      return Bytes(1, given.is_true(CKA_EXTRACTABLE) ? CK_FALSE : CK_TRUE);
    case Default::kFalse:
      return Bytes(1, CK_FALSE);
    case Default::kTrue:
      return Bytes(1, CK_TRUE);
    case Default::kZero:
      return bytes_of<CK_ULONG>(0);
    case Default::kUnavailable:
      return bytes_of<CK_ULONG>(CK_UNAVAILABLE_INFORMATION);
    default:
      return Bytes();
  }
}

// Otherwise the store would not seal its value.
void require_private_key_is_private(const Attributes& object) {
  if (object.number(CKA_CLASS) == CKO_PRIVATE_KEY && !object.is_true(CKA_PRIVATE)) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, "a private key must be CKA_PRIVATE");
  }
}

// Adds the defaults; throws when a required attribute is missing.
void complete(Attributes& object, Classes object_class) {
  for (const AttributeRule& rule : AttributeRules()) {
    if ((rule.classes & object_class) == 0 || rule.fallback == Default::kNone ||
        rule.fallback == Default::kContent) {
      continue;
    }
    if (rule.fallback == Default::kRequired) {
      object.at(rule.type);  // throws when it is missing
    } else {
      object.set_if_absent(rule.type, value_of(rule.fallback, object_class, object));
    }
  }
  require_private_key_is_private(object);
}

// Of a private key, CKA_PUBLIC_KEY_INFO is that of its public key (base, 4.9).
void complete_key(Attributes& key, Classes key_class) {
  if (key.number(CKA_KEY_TYPE) != CKK_EC) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, "CKA_KEY_TYPE must be CKK_EC");
  }
  const Bytes ec_point = key_class == kPublicKey
                             ? key.at(CKA_EC_POINT)
                             : EcPrivateKey(key.at(CKA_EC_PARAMS), key.at(CKA_VALUE)).ec_point();
  const Bytes info = EcPublicKey(key.at(CKA_EC_PARAMS), ec_point).info();
  const Bytes& given = key.at(CKA_PUBLIC_KEY_INFO);
  if (!given.empty() && given != info) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, "CKA_PUBLIC_KEY_INFO is for another key");
  }
  key.set(CKA_PUBLIC_KEY_INFO, info);
}

void require_sound_certificate(const Attributes& certificate) {
  const Bytes& value = certificate.at(CKA_VALUE);
  const CK_CERTIFICATE_TYPE type = certificate.number(CKA_CERTIFICATE_TYPE);
  if (type == TEE_CKC_CERTIFICATE_CHAIN) {
    return;
  }
  if (type != CKC_X_509) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, "CKA_CERTIFICATE_TYPE must be CKC_X_509 or that of a chain");
  }
  if (certificate.at(CKA_SUBJECT).empty()) {
    throw Error(CKR_TEMPLATE_INCOMPLETE, "an X.509 certificate needs its CKA_SUBJECT");
  }
  if (value.empty() && certificate.at(CKA_URL).empty()) {
    throw Error(CKR_TEMPLATE_INCOMPLETE, "an X.509 certificate needs its CKA_VALUE or a CKA_URL");
  }
}

}  // namespace

Attributes created_object(Attributes given, Creator creator) {
  const Classes object_class = bit_of(given.number(CKA_CLASS));
  if (object_class == kTrustStoreGroup && creator != Creator::kSecurityOfficer) {
    throw Error(CKR_ATTRIBUTE_READ_ONLY, "only the security officer can create a trust store group");
  }
  for (const auto& [type, value] : given) {
    require_allowed(rule_of(type), value, object_class, creator);
  }
  if (object_class == kData) {
    given.set_if_absent(CKA_VALUE, Bytes());
  }
  complete(given, object_class);
  if (object_class == kPrivateKey || object_class == kPublicKey) {
    complete_key(given, object_class);
  } else if (object_class == kCertificate) {
    require_sound_certificate(given);
  } else if (object_class == kTrustStoreGroup) {
    given.at(TEE_CKA_VENDOR_CLIENT_ID);  // throws when it is missing
  }
  return given;
}

Attributes generated_half(Attributes given, CK_OBJECT_CLASS object_class, Creator creator) {
  given.set_if_absent(CKA_CLASS, bytes_of(object_class));
  given.set_if_absent(CKA_KEY_TYPE, bytes_of<CK_KEY_TYPE>(CKK_EC));
  if (given.number(CKA_CLASS) != object_class || given.number(CKA_KEY_TYPE) != CKK_EC) {
    throw Error(CKR_TEMPLATE_INCONSISTENT, "CKA_CLASS or CKA_KEY_TYPE does not fit the mechanism");
  }
  for (const auto& [type, value] : given) {
    const AttributeRule& rule = rule_of(type);
    require_allowed(rule, value, bit_of(object_class), creator);
    if (rule.fallback == Default::kContent || rule.fallback == Default::kDerived) {
      refuse(rule, CKR_TEMPLATE_INCONSISTENT,
             "is computed during key generation; remove it from the template");
    }
  }
  complete(given, bit_of(object_class));
  given.set_bool(CKA_LOCAL, true);
  given.set_number(CKA_KEY_GEN_MECHANISM, CKM_EC_KEY_PAIR_GEN);
  if (object_class == CKO_PRIVATE_KEY) {
    given.set_bool(CKA_ALWAYS_SENSITIVE, given.is_true(CKA_SENSITIVE));
    given.set_bool(CKA_NEVER_EXTRACTABLE, !given.is_true(CKA_EXTRACTABLE));
  }
  return given;
}

void withdraw_trust(Attributes& copy) {
  if (copy.has(CKA_TRUSTED)) {
    copy.set_bool(CKA_TRUSTED, false);
  }
}

Attributes copied_object(Attributes source, const Attributes& changes) {
  if (!source.is_true(CKA_COPYABLE)) {
    throw Error(CKR_ACTION_PROHIBITED, "the object is not CKA_COPYABLE");
  }
  if (source.is_true(TEE_CKA_VENDOR_PERMANENT)) {
    throw Error(CKR_ACTION_PROHIBITED, "only an installation copies an installed object");
  }
  if (source.number(CKA_CLASS) == TEE_CKO_TRUST_STORE_GROUP) {
    throw Error(CKR_ACTION_PROHIBITED, "a trust store group cannot be copied");
  }
  withdraw_trust(source);
  for (const auto& [type, value] : changes) {
    // A copy may change these four, which C_SetAttributeValue may not (base, 4.1.3).
    const bool only_in_copies =
        type == CKA_TOKEN || type == CKA_PRIVATE || type == CKA_MODIFIABLE || type == CKA_DESTROYABLE;
    if (!only_in_copies) {
      Attributes change;
      change.set(type, value);
      Attributes modifiable = source;
      modifiable.set_bool(CKA_MODIFIABLE, true);
      require_changeable(modifiable, change, Creator::kAnyone);
    }
    source.set(type, value);
  }
  require_private_key_is_private(source);
  return source;
}

void require_changeable(const Attributes& current, const Attributes& changes, Creator creator) {
  if (!current.is_true(CKA_MODIFIABLE)) {
    throw Error(CKR_ACTION_PROHIBITED, "the object is not CKA_MODIFIABLE");
  }
  const Classes object_class = bit_of(current.number(CKA_CLASS));
  for (const auto& [type, value] : changes) {
    const AttributeRule& rule = rule_of(type);
    require_allowed(rule, value, object_class, creator);
    const bool turns_on = rule.layout == Layout::kBool && value[0] != CK_FALSE;
    const bool same = current.has(type) && current.at(type) == value;
    const bool allowed = same || rule.setter == Setter::kAnytime || rule.setter == Setter::kOfficer ||
                         (rule.setter == Setter::kAnytimeOfKeys && object_class != kCertificate) ||
                         (rule.setter == Setter::kUpwards && turns_on) ||
                         (rule.setter == Setter::kDownwards && !turns_on);
    if (!allowed) {
      refuse(rule, CKR_ATTRIBUTE_READ_ONLY, "cannot be changed to this value");
    }
  }
}

}  // namespace tee_token
