// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <tee_token/vendor_interface.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace test_support {

/// What a PKCS #11 module offers: its Cryptoki functions and the vendor interface.
struct ModuleFunctions {
  const CK_FUNCTION_LIST* cryptoki = nullptr;
  const TEE_FUNCTION_LIST* vendor = nullptr;
};

/// A call as it reached the module, and its answer.
struct SpiedCall {
  std::string function;
  /// The function and its arguments: numbers, mechanisms and templates ("[type=value ...]" in hexadecimal;
  /// none for C_GetAttributeValue). Of PINs and data only the length is shown.
  std::string text;
  CK_RV code;
  std::thread::id thread;
};

/// As the code of an answer: the function throws std::bad_alloc instead.
constexpr CK_RV kNoMemory = ~0UL;

/// A PKCS #11 module (libspytoken.so) that forwards each call to another one, records it, and can answer it
/// with an error. A test that links it and loads it as a module has one instance of it. It knows Cryptoki
/// alone, none of the layers that it watches.
class SpyToken {
 public:
  /// Forgets calls and answers, and forwards to the module that SPYTOKEN_MODULE names.
  void reset() { m_answers = {}, m_calls = {}, m_module = {}; }
  /// Where calls are forwarded to; a test may put functions of its own there.
  ModuleFunctions& module();

  /// Answers the `nth` call of `function` from now on (from 1; 0: each call) with `code`. An empty `function`
  /// is any. The call is not forwarded, unless `made`.
  void answer(const std::string& function, CK_RV code, unsigned nth = 0, bool made = false) {
    m_answers.push_back({function, code, nth, made});
  }
  void stop_interfering() { m_answers.clear(); }

  std::vector<SpiedCall> take_calls() { return std::exchange(m_calls, {}); }
  std::vector<std::string> take_texts();

  CK_RV call(const std::string& function, const std::string& arguments,
             const std::function<CK_RV()>& forward);

 private:
  struct Answer {
    std::string function;
    CK_RV code;
    unsigned nth;
    bool made;
    unsigned seen = 0;
  };

  std::mutex m_mutex;
  ModuleFunctions m_module;
  std::vector<Answer> m_answers;
  std::vector<SpiedCall> m_calls;
};

SpyToken& spytoken();

}  // namespace test_support
