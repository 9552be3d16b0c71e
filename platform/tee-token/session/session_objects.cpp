// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <numeric>

#include "session/session.h"

namespace tee_token {
namespace {

CK_RV give_attribute(const Attributes& object, CK_ATTRIBUTE& attribute) {
  const CK_ULONG room = attribute.ulValueLen;
  attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
  if (attribute.type == CKA_VALUE && is_guarded(object)) {
    return CKR_ATTRIBUTE_SENSITIVE;
  }
  if (!object.has(attribute.type)) {
    return CKR_ATTRIBUTE_TYPE_INVALID;
  }
  const Bytes& value = object.at(attribute.type);
  if (attribute.pValue != nullptr) {
    if (room < value.size()) {
      return CKR_BUFFER_TOO_SMALL;
    }
    std::copy(value.begin(), value.end(), static_cast<std::uint8_t*>(attribute.pValue));
  }
  attribute.ulValueLen = value.size();
  return CKR_OK;
}

}  // namespace

CK_OBJECT_HANDLE Session::create(Attributes given) {
  const Attributes object = created_object(std::move(given), creator());
  require_may_write(object.is_true(CKA_TOKEN));
  m_token.objects().require_may_store(object);
  ObjectStore& store = m_token.objects().store_for(object.is_true(CKA_TOKEN));
  return change(store, [&] { return insert(object); });
}

CK_OBJECT_HANDLE Session::insert(const Attributes& object) {
  const bool token_object = object.is_true(CKA_TOKEN);
  return m_token.objects().store_for(token_object).insert(object, token_object ? 0 : m_handle);
}

CK_OBJECT_HANDLE Session::copy(CK_OBJECT_HANDLE object, const Attributes& changes) {
  ObjectSpace& objects = m_token.objects();
  const bool to_token = changes.has(CKA_TOKEN) ? changes.is_true(CKA_TOKEN)
                                               : &objects.store_of(object) == &objects.store_for(true);
  return change(objects.store_for(to_token), [&] {
    const Attributes copied = view([&] {
      Attributes source = objects.visible(object);
      objects.store_of(object).unseal(object, source);
      return copied_object(std::move(source), changes);
    });
    require_may_write(to_token);
    objects.require_may_store(copied);
    return insert(copied);
  });
}

void Session::destroy(CK_OBJECT_HANDLE object) {
  ObjectSpace& objects = m_token.objects();
  ObjectStore& store = objects.store_of(object);
  change(store, [&] {
    require_may_destroy(object);
    store.erase(object);
    return object;
  });
}

void Session::require_may_destroy(CK_OBJECT_HANDLE object) {
  try {
    const Attributes stored = m_token.objects().visible(object);
    require_may_write(stored.is_true(CKA_TOKEN));
    require_may_change(stored);
    if (!stored.is_true(CKA_DESTROYABLE)) {
      throw Error(CKR_ACTION_PROHIBITED, "the object is not CKA_DESTROYABLE");
    }
  } catch (const DamagedObject&) {
    // It serves nobody, and what it says of itself is not believed: whoever is logged in may remove it.
    require_may_write(true);
    if (!m_token.login().who) {
      throw;
    }
  }
}

void Session::read_attributes(CK_OBJECT_HANDLE object, CK_ATTRIBUTE* first, CK_ULONG count) {
  if (first == nullptr && count != 0) {
    throw Error(CKR_ARGUMENTS_BAD, "the template is a null pointer");
  }
  const Attributes stored = view([&] {
    ObjectSpace& objects = m_token.objects();
    Attributes visible = objects.visible(object);
    if (!is_guarded(visible)) {
      objects.store_of(object).unseal(object, visible);
    }
    return visible;
  });
  // One attribute that cannot be given does not keep back the others (base, 4.1.2).
  CK_RV worst = CKR_OK;
  for (CK_ATTRIBUTE* attribute = first; attribute != first + count; ++attribute) {
    const CK_RV code = give_attribute(stored, *attribute);
    worst = code == CKR_OK ? worst : code;
  }
  if (worst != CKR_OK) {
    throw Error(worst, "not every attribute can be given");
  }
}

CK_ULONG Session::size_of(CK_OBJECT_HANDLE object) {
  const Attributes stored = view([&] { return m_token.objects().visible(object); });
  return std::accumulate(stored.begin(), stored.end(), CK_ULONG{0}, [](CK_ULONG sum, const auto& attribute) {
    return sum + sizeof attribute.first + attribute.second.size();
  });
}

void Session::set_attributes(CK_OBJECT_HANDLE object, const Attributes& changes) {
  ObjectSpace& objects = m_token.objects();
  ObjectStore& store = objects.store_of(object);
  change(store, [&] {
    const Attributes current = objects.visible(object);
    require_may_write(current.is_true(CKA_TOKEN));
    require_may_change(current);
    require_changeable(current, changes, creator());
    store.update(object, changes);
    return object;
  });
}

}  // namespace tee_token
