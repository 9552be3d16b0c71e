// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_object.h>

#include "declared.h"

using namespace Botan::PKCS11;
using Botan::secure_vector;
using Bytes = std::vector<uint8_t>;
using Container = AttributeContainer;
using Storage = StorageObjectProperties;
using Data = DataObjectProperties;
using Certificate = CertificateProperties;
using Key = KeyProperties;
using Public = PublicKeyProperties;
using Private = PrivateKeyProperties;
using Secret = SecretKeyProperties;

template struct Class<Container, kMoves + kMoveAssigns + kVirtual>;
template struct Class<ObjectProperties, kMoves + kVirtual, Container>;
template struct Class<Storage, kMoves + kVirtual, ObjectProperties>;
template struct Class<Data, kMoves + kVirtual + kFinal, Storage>;
template struct Class<Certificate, kMoves + kVirtual, Storage>;
template struct Class<Key, kMoves + kVirtual, Storage>;
template struct Class<Public, kMoves + kVirtual, Key>;
template struct Class<Private, kMoves + kVirtual, Key>;
template struct Class<Secret, kMoves + kVirtual + kFinal, Key>;
template struct Class<DomainParameterProperties, kMoves + kVirtual + kFinal, Storage>;
template struct Class<ObjectFinder, kCopies + kMoves + kFinal>;
template struct Class<Object, kCopies + kMoves + kVirtual>;
static_assert(!std::is_constructible<Object, Session&>::value, "for derived classes alone");

template struct Converts<Container>;
template struct Converts<Container, ObjectClass>;
template struct Converts<ObjectProperties, ObjectClass>;
template struct Converts<Storage, ObjectClass>;
template struct Converts<Data>;
template struct Converts<Certificate, CertificateType>;
template struct Converts<Key, ObjectClass, KeyType>;
template struct Converts<Public, KeyType>;
template struct Converts<Private, KeyType>;
template struct Converts<Secret, KeyType>;
template struct Converts<DomainParameterProperties, KeyType>;
template struct Converts<ObjectFinder, Session&, const std::vector<Attribute>&>;
template struct Converts<Object, Session&, ObjectHandle>;
template struct Converts<Object, Session&, const ObjectProperties&>;

struct OpenContainer : Container {
  using Container::add_attribute;
};

void attribute_container() {
  has<Container, const std::vector<Attribute>&() const>({&Container::attributes});
  has<Container, Attribute*() const>({&Container::data});
  has<Container, size_t() const>({&Container::count});
  has<Container, void(ObjectClass)>({&Container::add_class});
  has<Container, void(AttributeType, const std::string&)>({&Container::add_string});
  has<Container, void(AttributeType, const uint8_t*, size_t)>({&Container::add_binary});
  has<Container, void(AttributeType, const Bytes&)>({&Container::add_binary});
  has<Container, void(AttributeType, const secure_vector<uint8_t>&)>({&Container::add_binary});
  has<Container, void(AttributeType, bool)>({&Container::add_bool});
  has<Container, void(AttributeType, Ulong)>({&Container::add_numeric<Ulong>});
  has<Container, void(AttributeType, int)>({&Container::add_numeric<int>});
  has<Container, void(AttributeType, uint8_t)>({&Container::add_numeric<uint8_t>});
  has<OpenContainer, void(AttributeType, const uint8_t*, uint32_t)>({&OpenContainer::add_attribute});
}

#ifdef ADD_NUMERIC_OF_AN_ENUM
void add_enum(Container& container) { container.add_numeric(AttributeType::KeyType, KeyType::Ec); }
#endif

void property_getters() {
  has<ObjectProperties, ObjectClass() const>({&ObjectProperties::object_class});
  has<Certificate, CertificateType() const>({&Certificate::cert_type});
  has<Key, KeyType() const>({&Key::key_type});
  has<DomainParameterProperties, KeyType() const>({&DomainParameterProperties::key_type});
}

void string_and_bool_setters() {
  has<Storage, void(const std::string&)>({&Storage::set_label});
  has<Data, void(const std::string&)>({&Data::set_application});
  has<Storage, void(bool)>({&Storage::set_token, &Storage::set_private, &Storage::set_modifiable,
                            &Storage::set_copyable, &Storage::set_destroyable});
  has<Certificate, void(bool)>({&Certificate::set_trusted});
  has<Key, void(bool)>({&Key::set_derive});
  has<Public, void(bool)>({&Public::set_encrypt, &Public::set_verify, &Public::set_verify_recover,
                           &Public::set_wrap, &Public::set_trusted});
  has<Private, void(bool)>({&Private::set_sensitive, &Private::set_decrypt, &Private::set_sign,
                            &Private::set_sign_recover, &Private::set_unwrap, &Private::set_extractable,
                            &Private::set_wrap_with_trusted, &Private::set_always_authenticate});
  has<Secret, void(bool)>({&Secret::set_sensitive, &Secret::set_encrypt, &Secret::set_decrypt,
                           &Secret::set_sign, &Secret::set_verify, &Secret::set_unwrap,
                           &Secret::set_extractable, &Secret::set_wrap_with_trusted,
                           &Secret::set_always_authenticate, &Secret::set_wrap, &Secret::set_trusted});
}

void other_setters() {
  has<Data, void(const Bytes&)>({&Data::set_object_id});
  has<Data, void(const secure_vector<uint8_t>&)>({&Data::set_value});
  has<Certificate, void(CertificateCategory)>({&Certificate::set_category});
  has<Certificate, void(const Bytes&)>({&Certificate::set_check_value, &Certificate::set_public_key_info});
  has<Certificate, void(Date)>({&Certificate::set_start_date, &Certificate::set_end_date});
  has<Key, void(const Bytes&)>({&Key::set_id});
  has<Key, void(Date)>({&Key::set_start_date, &Key::set_end_date});
  has<Key, void(const std::vector<MechanismType>&)>({&Key::set_allowed_mechanisms});
  has<Public, void(const Bytes&)>({&Public::set_subject, &Public::set_public_key_info});
  has<Public, void(const Container&)>({&Public::set_wrap_template});
  has<Private, void(const Bytes&)>({&Private::set_subject, &Private::set_public_key_info});
  has<Private, void(const Container&)>({&Private::set_unwrap_template});
  has<Secret, void(const Bytes&)>({&Secret::set_check_value});
  has<Secret, void(const Container&)>({&Secret::set_wrap_template, &Secret::set_unwrap_template});
}

void object_finder(ObjectFinder& finder) {
  has<ObjectFinder, std::vector<ObjectHandle>(std::uint32_t) const>({&ObjectFinder::find});
  has<ObjectFinder, void()>({&ObjectFinder::finish});
  has<ObjectFinder, Module&() const>({&ObjectFinder::module});
  finder.find();
}

struct Derived : Object {
  static const ObjectClass Class = ObjectClass::Data;
  Derived(Session& session, ObjectHandle handle) : Object(session) { reset_handle(handle); }
  using Object::reset_handle;
};

void object() {
  has<std::vector<Object>(Session&, const std::vector<Attribute>&)>(Object::search<Object>);
  has<std::vector<Derived>(Session&, const std::vector<Attribute>&)>(Object::search<Derived>);
  has<std::vector<Derived>(Session&, const std::string&)>(Object::search<Derived>);
  has<std::vector<Derived>(Session&, const Bytes&)>(Object::search<Derived>);
  has<std::vector<Derived>(Session&, const std::string&, const Bytes&)>(Object::search<Derived>);
  has<std::vector<Derived>(Session&)>(Object::search<Derived>);
  has<Object, secure_vector<uint8_t>(AttributeType) const>({&Object::get_attribute_value});
  has<Object, void(AttributeType, const secure_vector<uint8_t>&) const>({&Object::set_attribute_value});
  has<Object, void() const>({&Object::destroy});
  has<Object, ObjectHandle(const Container&) const>({&Object::copy});
  has<Object, ObjectHandle() const>({&Object::handle});
  has<Object, Session&() const>({&Object::session});
  has<Object, Module&() const>({&Object::module});
  has<Derived, void(ObjectHandle)>({&Derived::reset_handle});
}
