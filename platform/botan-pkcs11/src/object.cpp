// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_object.h>
#include <botan/p11_x509.h>

#include <algorithm>

namespace Botan {
namespace PKCS11 {

ObjectFinder::ObjectFinder(Session& session, const std::vector<Attribute>& search_template)
    : m_session(session), m_active(std::make_shared<bool>(true)) {
  module()->C_FindObjectsInit(session.handle(), const_cast<Attribute*>(search_template.data()),
                              search_template.size());
}

ObjectFinder::~ObjectFinder() noexcept {
  if (!*m_active || m_active.use_count() > 1) {
    return;
  }
  module().clean_up([this](const LowLevel& token) { token.C_FindObjectsFinal(m_session.handle(), nullptr); });
}

std::vector<ObjectHandle> ObjectFinder::find(std::uint32_t max_count) const {
  std::vector<ObjectHandle> handles(max_count);
  Ulong count = 0;
  module()->C_FindObjects(m_session.handle(), handles.data(), max_count, &count);
  handles.resize(std::min<size_t>(handles.size(), count));
  return handles;
}

void ObjectFinder::finish() {
  module()->C_FindObjectsFinal(m_session.handle());
  *m_active = false;
}

Object::Object(Session& session, const ObjectProperties& obj_props) : Object(session) {
  module()->C_CreateObject(session.handle(), obj_props.data(), obj_props.count(), &m_handle);
}

secure_vector<uint8_t> Object::get_attribute_value(AttributeType attribute) const {
  std::map<AttributeType, secure_vector<uint8_t>> values{{attribute, {}}};
  module()->C_GetAttributeValue(m_session.handle(), m_handle, values);
  return values.at(attribute);
}

void Object::set_attribute_value(AttributeType attribute, const secure_vector<uint8_t>& value) const {
  std::map<AttributeType, secure_vector<uint8_t>> values{{attribute, value}};
  module()->C_SetAttributeValue(m_session.handle(), m_handle, values);
}

void Object::destroy() const { module()->C_DestroyObject(m_session.handle(), m_handle); }

ObjectHandle Object::copy(const AttributeContainer& modified_attributes) const {
  ObjectHandle copy = 0;
  module()->C_CopyObject(m_session.handle(), m_handle, modified_attributes.data(),
                         modified_attributes.count(), &copy);
  return copy;
}

void Object::reset_handle(ObjectHandle handle) {
  if (m_handle != 0) {
    throw Invalid_Argument("Cannot reset handle on already valid PKCS11 object");
  }
  m_handle = handle;
}

X509_CertificateProperties::X509_CertificateProperties(const std::vector<uint8_t>& subject,
                                                       const std::vector<uint8_t>& value)
    : CertificateProperties(CertificateType::X509), m_subject(subject), m_value(value) {
  add_binary(AttributeType::Subject, m_subject);
  add_binary(AttributeType::Value, m_value);
}

X509_CertificateProperties::X509_CertificateProperties(const X509_Certificate& cert)
    : X509_CertificateProperties(cert.raw_subject_dn(), cert.BER_encode()) {}

PKCS11_X509_Certificate::PKCS11_X509_Certificate(Session& session, ObjectHandle handle)
    : Object(session, handle), X509_Certificate(unlock(get_attribute_value(AttributeType::Value))) {}

PKCS11_X509_Certificate::PKCS11_X509_Certificate(Session& session, const X509_CertificateProperties& props)
    : Object(session, props), X509_Certificate(props.value()) {}

}  // namespace PKCS11
}  // namespace Botan
