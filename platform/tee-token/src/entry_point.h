#pragma once

#include "failure_line.h"
#include "module.h"

namespace tee_token {

/// Runs one Cryptoki call: finds the module, locks it, and turns what is thrown into the call's answer.
template <typename Operation>
CK_RV entry_point(const char* call, Operation operation) noexcept {
  std::shared_ptr<Module> module;
  try {
    module = Module::current();
    const std::lock_guard<std::mutex> lock(module->mutex());
    operation(*module);
    return CKR_OK;
  } catch (...) {
    return answer_for_current_exception(call, module == nullptr ? "" : module->token().folder().path());
  }
}

/// `pointer` itself. Throws CKR_ARGUMENTS_BAD when it is null.
template <typename T>
T* required(T* pointer) {
  if (pointer == nullptr) {
    throw Error(CKR_ARGUMENTS_BAD, "a required argument is a null pointer");
  }
  return pointer;
}

/// A caller's bytes. Throws CKR_ARGUMENTS_BAD on a null pointer with a length.
inline ByteView input(const void* first, CK_ULONG length) {
  return length == 0 ? ByteView(nullptr, 0) : ByteView(required(first), length);
}

/// Answers a list under the two-call convention (PKCS #11 2.40 base, 5.2).
template <typename List, typename T>
void give_list(const List& list, T* first, CK_ULONG* count) {
  const CK_ULONG room = *required(count);
  *count = static_cast<CK_ULONG>(list.size());
  if (first == nullptr) {
    return;
  }
  if (room < list.size()) {
    throw Error(CKR_BUFFER_TOO_SMALL, "the list has " + std::to_string(list.size()) + " entries");
  }
  std::copy(list.begin(), list.end(), first);
}

}  // namespace tee_token
