// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <tee_token/vendor_interface.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace test_support {

/// What a PKCS #11 module offers: its Cryptoki functions and, if it has one, the vendor interface.
struct ModuleFunctions {
  const CK_FUNCTION_LIST* cryptoki = nullptr;
  const TEE_FUNCTION_LIST* vendor = nullptr;
};

/// A call as it reached the module, and its answer.
struct SpiedCall {
  std::string function;
  /// The function and its arguments: numbers, mechanisms and templates ("type=value ..." in hexadecimal).
  /// Of PINs, data and private keys only the length is shown.
  std::string text;
  CK_RV code;
  std::string results;  ///< numbers given back: handles, lengths
  std::thread::id thread;
};

/// Something that is done to calls of one function.
struct Interference {
  std::string function;                // empty: any
  unsigned nth = 0;                    // of the calls from now on, from 1; 0: each
  bool after = false;                  // the module was called already
  std::optional<CK_RV> answer;         // instead of the module's
  bool ends_process = false;           // at once, as SIGKILL does
  std::chrono::milliseconds delay{0};  // before anything else
  unsigned seen = 0;
};

enum class Slots { kAsTheyAre, kNone, kOneMore };

/// A PKCS #11 module (libspytoken.so) that forwards each call to another one, records it, and can interfere.
/// A test that is linked to it and loads it as a module has one instance of it. It knows Cryptoki alone, none
/// of the layers that it watches.
class SpyToken {
 public:
  /// Forgets calls and interferences, and forwards to the module that SPYTOKEN_MODULE names.
  void reset();
  /// Forwards to functions of this process.
  void forward_to(const ModuleFunctions& functions) { m_module = functions; }
  const ModuleFunctions& module();

  void interfere(Interference interference) { m_interferences.push_back(std::move(interference)); }
  void answer(const std::string& function, CK_RV code);  ///< to each call of it from now on
  void stop_interfering() { m_interferences.clear(); }
  void show_slots(Slots slots) { m_slots = slots; }
  Slots slots() const { return m_slots; }

  std::vector<SpiedCall> take_calls() { return std::exchange(m_calls, {}); }
  /// Their texts alone.
  std::vector<std::string> take_texts();

  /// Called after each call, from its thread.
  std::function<void(const SpiedCall&)> observer;

  /// What each function of the module does.
  CK_RV call(const std::string& function, const std::string& arguments, const std::function<CK_RV()>& forward,
             const std::function<std::string()>& results);

 private:
  std::optional<Interference> due(const std::string& function, bool after);
  /// Does what is due; the code to answer with, if any.
  std::optional<CK_RV> interfered(const std::string& function, bool after);

  std::mutex m_mutex;
  ModuleFunctions m_module;
  std::vector<Interference> m_interferences;
  std::vector<SpiedCall> m_calls;
  Slots m_slots = Slots::kAsTheyAre;
};

/// The one spy of this process.
SpyToken& spytoken();

/// A template as calls show it.
std::string text_of(const CK_ATTRIBUTE* attributes, CK_ULONG count);

}  // namespace test_support
