// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11.h>
#include <botan/p11_properties.h>
#include <botan/p11_types.h>
#include <botan/secmem.h>

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace Botan {
namespace PKCS11 {

/// A search for objects. It stays active until finish() or until its last copy is destroyed; a session can
/// have only one active operation.
class BOTAN_PKCS11_API ObjectFinder final {
 public:
  /// Starts a search for the objects that have all attributes of `search_template`; an empty one finds all
  /// objects.
  ObjectFinder(Session& session, const std::vector<Attribute>& search_template);

  ObjectFinder(const ObjectFinder&) = default;
  ObjectFinder& operator=(const ObjectFinder&) = delete;
  ~ObjectFinder() noexcept;

  /// The next handles, at most `max_count`; none at the end.
  std::vector<ObjectHandle> find(std::uint32_t max_count = 100) const;

  void finish();

  Module& module() const { return m_session.module(); }

 private:
  Session& m_session;
  std::shared_ptr<bool> m_active;  // shared by copies, which are one search
};

/// A reference to an object on the token. The destructor does not delete the object.
class BOTAN_PKCS11_API Object {
 public:
  /// Wraps an existing object. The handle is not checked before it is used.
  Object(Session& session, ObjectHandle handle) : m_session(session), m_handle(handle) {}

  /// Creates an object on the token.
  Object(Session& session, const ObjectProperties& obj_props);

  Object(const Object&) = default;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// The first 100 objects that have all attributes of the template. The search stays active until all Ts are
  /// constructed.
  template <typename T>
  static std::vector<T> search(Session& session, const std::vector<Attribute>& search_template) {
    ObjectFinder finder(session, search_template);
    std::vector<T> objects;
    for (const ObjectHandle handle : finder.find()) {
      objects.emplace_back(session, handle);
    }
    return objects;
  }

  /// The first 100 objects of T's class.
  template <typename T>
  static std::vector<T> search(Session& session) {
    return search<T>(session, AttributeContainer(T::Class).attributes());
  }

  template <typename T>
  static std::vector<T> search(Session& session, const std::string& label) {
    AttributeContainer search_template(T::Class);
    search_template.add_string(AttributeType::Label, label);
    return search<T>(session, search_template.attributes());
  }

  template <typename T>
  static std::vector<T> search(Session& session, const std::vector<uint8_t>& id) {
    AttributeContainer search_template(T::Class);
    search_template.add_binary(AttributeType::Id, id);
    return search<T>(session, search_template.attributes());
  }

  template <typename T>
  static std::vector<T> search(Session& session, const std::string& label, const std::vector<uint8_t>& id) {
    AttributeContainer search_template(T::Class);
    search_template.add_string(AttributeType::Label, label);
    search_template.add_binary(AttributeType::Id, id);
    return search<T>(session, search_template.attributes());
  }

  secure_vector<uint8_t> get_attribute_value(AttributeType attribute) const;
  void set_attribute_value(AttributeType attribute, const secure_vector<uint8_t>& value) const;

  /// Deletes the object from the token. The handle is invalid afterwards.
  void destroy() const;

  /// Copies the object on the token, with these attributes changed, and returns the copy's handle.
  ObjectHandle copy(const AttributeContainer& modified_attributes) const;

  ObjectHandle handle() const { return m_handle; }
  Session& session() const { return m_session; }
  Module& module() const { return m_session.module(); }

 protected:
  /// For derived classes, which set the handle later.
  Object(Session& session) : m_session(session), m_handle(0) {}

  /// Throws Invalid_Argument if the handle is set already.
  void reset_handle(ObjectHandle handle);

 private:
  Session& m_session;
  ObjectHandle m_handle;
};

}  // namespace PKCS11
}  // namespace Botan
