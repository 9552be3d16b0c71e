// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_object.h>

namespace Botan {
namespace PKCS11 {

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

}  // namespace PKCS11
}  // namespace Botan
