#include "session.h"

namespace tee_token {

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
      objects.require_visible(object);
      return copied_object(objects.store_of(object).load(object), changes);
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
    objects.require_visible(object);
    require_may_write(store.has(object, CKA_TOKEN, Bytes(1, CK_TRUE)));
    require_may_change(object);
    if (store.has(object, CKA_DESTROYABLE, Bytes(1, CK_FALSE))) {
      throw Error(CKR_ACTION_PROHIBITED, "the object is not CKA_DESTROYABLE");
    }
    store.erase(object);
    return object;
  });
}

void Session::read_attributes(CK_OBJECT_HANDLE object, CK_ATTRIBUTE* first, CK_ULONG count) {
  if (first == nullptr && count != 0) {
    throw Error(CKR_ARGUMENTS_BAD, "the template is a null pointer");
  }
  const CK_RV answer = view([&] {
    m_token.objects().require_visible(object);
    // One attribute that cannot be given does not keep back the others (base, 4.1.2).
    CK_RV worst = CKR_OK;
    for (CK_ATTRIBUTE* attribute = first; attribute != first + count; ++attribute) {
      const CK_RV code = read_attribute(object, *attribute);
      worst = code == CKR_OK ? worst : code;
    }
    return worst;
  });
  if (answer != CKR_OK) {
    throw Error(answer, "not every attribute can be given");
  }
}

CK_RV Session::read_attribute(CK_OBJECT_HANDLE object, CK_ATTRIBUTE& attribute) {
  ObjectSpace& objects = m_token.objects();
  const CK_ULONG room = attribute.ulValueLen;
  attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
  if (attribute.type == CKA_VALUE && objects.is_guarded(object)) {
    return CKR_ATTRIBUTE_SENSITIVE;
  }
  Bytes value;
  if (!objects.store_of(object).read(object, attribute.type, value)) {
    return CKR_ATTRIBUTE_TYPE_INVALID;
  }
  if (attribute.pValue != nullptr) {
    if (room < value.size()) {
      return CKR_BUFFER_TOO_SMALL;
    }
    std::copy(value.begin(), value.end(), static_cast<std::uint8_t*>(attribute.pValue));
  }
  attribute.ulValueLen = value.size();
  return CKR_OK;
}

CK_ULONG Session::size_of(CK_OBJECT_HANDLE object) {
  return view([&] {
    m_token.objects().require_visible(object);
    return m_token.objects().store_of(object).size_of(object);
  });
}

void Session::set_attributes(CK_OBJECT_HANDLE object, const Attributes& changes) {
  ObjectSpace& objects = m_token.objects();
  ObjectStore& store = objects.store_of(object);
  change(store, [&] {
    objects.require_visible(object);
    const Attributes current = store.load(object);
    require_may_write(current.is_true(CKA_TOKEN));
    require_may_change(object);
    require_changeable(current, changes, creator());
    store.update(object, changes);
    return object;
  });
}

}  // namespace tee_token
