// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_low_level.h>

#include <cstdint>
#include <list>
#include <string>
#include <type_traits>
#include <vector>

namespace Botan {
namespace PKCS11 {

/// A template: attributes with their values, in the order in which they were added. Values are copied. Adding
/// an attribute again replaces its value and keeps its position.
class BOTAN_PKCS11_API AttributeContainer {
 public:
  AttributeContainer() = default;

  /// A template that begins with Class.
  AttributeContainer(ObjectClass object_class);

  virtual ~AttributeContainer() = default;

  AttributeContainer(AttributeContainer&&) = default;
  AttributeContainer& operator=(AttributeContainer&&) = default;
  AttributeContainer(const AttributeContainer&) = delete;
  AttributeContainer& operator=(const AttributeContainer&) = delete;

  const std::vector<Attribute>& attributes() const { return m_attributes; }

  /// The attributes as token functions take them. Invalid after another attribute is added.
  Attribute* data() const { return const_cast<Attribute*>(m_attributes.data()); }

  size_t count() const { return m_attributes.size(); }

  void add_class(ObjectClass object_class);

  /// The bytes of `value`, without a terminator.
  void add_string(AttributeType attribute, const std::string& value);

  void add_binary(AttributeType attribute, const uint8_t* value, size_t length);

  template <typename TAlloc>
  void add_binary(AttributeType attribute, const std::vector<uint8_t, TAlloc>& binary) {
    add_binary(attribute, binary.data(), binary.size());
  }

  /// One byte (CK_BBOOL).
  void add_bool(AttributeType attribute, bool value) { add_numeric(attribute, value ? True : False); }

  /// `value` in sizeof(T) bytes. Most numeric attributes have the type Ulong: cast to it.
  template <typename T>
  void add_numeric(AttributeType attribute, T value) {
    static_assert(std::is_integral<T>::value, "a numeric attribute is an integer");
    add_number(attribute, &value, sizeof(T));
  }

 protected:
  /// Keeps the pointer; the caller owns the value.
  void add_attribute(AttributeType attribute, const uint8_t* value, uint32_t size);

  /// The eight characters of a CK_DATE.
  void add_date(AttributeType attribute, const Date& date);

 private:
  void add_number(AttributeType attribute, const void* value, size_t size);
  void release_value(const void* value);

  std::vector<Attribute> m_attributes;
  std::list<uint64_t> m_numerics;  // lists, because their elements do not move
  std::list<std::string> m_strings;
  std::list<secure_vector<uint8_t>> m_vectors;
};

// Templates, one class for each kind of object (PKCS#11 2.40, section 4). A constructor adds the attributes
// that the comment of its class lists, in that order; a setter adds the attribute of its name. There are no
// defaults.
// Setters of attributes that hold templates or lists throw Not_Implemented.

/// Class.
class BOTAN_PKCS11_API ObjectProperties : public AttributeContainer {
 public:
  ObjectProperties(ObjectClass object_class)
      : AttributeContainer(object_class), m_object_class(object_class) {}

  ObjectClass object_class() const { return m_object_class; }

 private:
  const ObjectClass m_object_class;
};

/// Class.
class BOTAN_PKCS11_API StorageObjectProperties : public ObjectProperties {
 public:
  StorageObjectProperties(ObjectClass object_class) : ObjectProperties(object_class) {}

  void set_label(const std::string& label) { add_string(AttributeType::Label, label); }
  void set_token(bool value) { add_bool(AttributeType::Token, value); }
  void set_private(bool value) { add_bool(AttributeType::Private, value); }
  void set_modifiable(bool value) { add_bool(AttributeType::Modifiable, value); }
  void set_copyable(bool value) { add_bool(AttributeType::Copyable, value); }
  void set_destroyable(bool value) { add_bool(AttributeType::Destroyable, value); }
};

/// Class.
class BOTAN_PKCS11_API DataObjectProperties final : public StorageObjectProperties {
 public:
  DataObjectProperties() : StorageObjectProperties(ObjectClass::Data) {}

  void set_application(const std::string& value) { add_string(AttributeType::Application, value); }
  void set_object_id(const std::vector<uint8_t>& der) { add_binary(AttributeType::ObjectId, der); }
  void set_value(const secure_vector<uint8_t>& value) { add_binary(AttributeType::Value, value); }
};

/// Class, CertificateType.
class BOTAN_PKCS11_API CertificateProperties : public StorageObjectProperties {
 public:
  CertificateProperties(CertificateType cert_type);

  CertificateType cert_type() const { return m_cert_type; }

  void set_trusted(bool value) { add_bool(AttributeType::Trusted, value); }
  void set_category(CertificateCategory value) {
    add_numeric(AttributeType::CertificateCategory, static_cast<CK_CERTIFICATE_CATEGORY>(value));
  }
  void set_check_value(const std::vector<uint8_t>& value) { add_binary(AttributeType::CheckValue, value); }
  void set_start_date(Date date) { add_date(AttributeType::StartDate, date); }
  void set_end_date(Date date) { add_date(AttributeType::EndDate, date); }
  void set_public_key_info(const std::vector<uint8_t>& der) { add_binary(AttributeType::PublicKeyInfo, der); }

 private:
  const CertificateType m_cert_type;
};

/// Class, KeyType.
class BOTAN_PKCS11_API KeyProperties : public StorageObjectProperties {
 public:
  KeyProperties(ObjectClass object_class, KeyType key_type);

  KeyType key_type() const { return m_key_type; }

  void set_id(const std::vector<uint8_t>& id) { add_binary(AttributeType::Id, id); }
  void set_start_date(Date date) { add_date(AttributeType::StartDate, date); }
  void set_end_date(Date date) { add_date(AttributeType::EndDate, date); }
  void set_derive(bool value) { add_bool(AttributeType::Derive, value); }
  void set_allowed_mechanisms(const std::vector<MechanismType>& mechanisms);

 private:
  const KeyType m_key_type;
};

/// Class, KeyType.
class BOTAN_PKCS11_API PublicKeyProperties : public KeyProperties {
 public:
  PublicKeyProperties(KeyType key_type) : KeyProperties(ObjectClass::PublicKey, key_type) {}

  void set_subject(const std::vector<uint8_t>& der) { add_binary(AttributeType::Subject, der); }
  void set_encrypt(bool value) { add_bool(AttributeType::Encrypt, value); }
  void set_verify(bool value) { add_bool(AttributeType::Verify, value); }
  void set_verify_recover(bool value) { add_bool(AttributeType::VerifyRecover, value); }
  void set_wrap(bool value) { add_bool(AttributeType::Wrap, value); }
  void set_trusted(bool value) { add_bool(AttributeType::Trusted, value); }
  void set_wrap_template(const AttributeContainer& attributes);
  void set_public_key_info(const std::vector<uint8_t>& der) { add_binary(AttributeType::PublicKeyInfo, der); }
};

/// Class, KeyType.
class BOTAN_PKCS11_API PrivateKeyProperties : public KeyProperties {
 public:
  PrivateKeyProperties(KeyType key_type) : KeyProperties(ObjectClass::PrivateKey, key_type) {}

  void set_subject(const std::vector<uint8_t>& der) { add_binary(AttributeType::Subject, der); }
  void set_sensitive(bool value) { add_bool(AttributeType::Sensitive, value); }
  void set_decrypt(bool value) { add_bool(AttributeType::Decrypt, value); }
  void set_sign(bool value) { add_bool(AttributeType::Sign, value); }
  void set_sign_recover(bool value) { add_bool(AttributeType::SignRecover, value); }
  void set_unwrap(bool value) { add_bool(AttributeType::Unwrap, value); }
  void set_extractable(bool value) { add_bool(AttributeType::Extractable, value); }
  void set_wrap_with_trusted(bool value) { add_bool(AttributeType::WrapWithTrusted, value); }
  void set_always_authenticate(bool value) { add_bool(AttributeType::AlwaysAuthenticate, value); }
  void set_unwrap_template(const AttributeContainer& attributes);
  void set_public_key_info(const std::vector<uint8_t>& der) { add_binary(AttributeType::PublicKeyInfo, der); }
};

/// Class, KeyType.
class BOTAN_PKCS11_API SecretKeyProperties final : public KeyProperties {
 public:
  SecretKeyProperties(KeyType key_type) : KeyProperties(ObjectClass::SecretKey, key_type) {}

  void set_sensitive(bool value) { add_bool(AttributeType::Sensitive, value); }
  void set_encrypt(bool value) { add_bool(AttributeType::Encrypt, value); }
  void set_decrypt(bool value) { add_bool(AttributeType::Decrypt, value); }
  void set_sign(bool value) { add_bool(AttributeType::Sign, value); }
  void set_verify(bool value) { add_bool(AttributeType::Verify, value); }
  void set_unwrap(bool value) { add_bool(AttributeType::Unwrap, value); }
  void set_extractable(bool value) { add_bool(AttributeType::Extractable, value); }
  void set_wrap_with_trusted(bool value) { add_bool(AttributeType::WrapWithTrusted, value); }
  void set_always_authenticate(bool value) { add_bool(AttributeType::AlwaysAuthenticate, value); }
  void set_wrap(bool value) { add_bool(AttributeType::Wrap, value); }
  void set_trusted(bool value) { add_bool(AttributeType::Trusted, value); }
  void set_check_value(const std::vector<uint8_t>& value) { add_binary(AttributeType::CheckValue, value); }
  void set_wrap_template(const AttributeContainer& attributes);
  void set_unwrap_template(const AttributeContainer& attributes);
};

/// Class, KeyType.
class BOTAN_PKCS11_API DomainParameterProperties final : public StorageObjectProperties {
 public:
  DomainParameterProperties(KeyType key_type);

  KeyType key_type() const { return m_key_type; }

 private:
  const KeyType m_key_type;
};

}  // namespace PKCS11
}  // namespace Botan
