#pragma once

#include <botan/p11_types.h>
#include <gmock/gmock.h>

#include "fake_token.h"
#include "support/spytoken.h"

using namespace Botan::PKCS11;
using testing::ElementsAre;
using testing::IsEmpty;

namespace Botan {
namespace PKCS11 {
inline void PrintTo(ReturnValue value, std::ostream* out) { *out << PKCS11_ReturnError(value).what(); }
}  // namespace PKCS11
}  // namespace Botan

inline Botan::secure_vector<uint8_t> secret(const std::string& text) { return {text.begin(), text.end()}; }

/// A session with the fake token; the log is empty when a test begins.
class FakeTokenTest : public testing::Test {
 protected:
  FakeTokenTest() : module(SPYTOKEN), slot(module, 5), session(slot, false) { spy.take_calls(); }

  FakeToken& token = fresh_fake_token();
  test_support::SpyToken& spy = test_support::spytoken();
  Module module;
  Slot slot;
  Session session;
};

/// The code of the PKCS11_ReturnError that `function` throws; OK when it throws nothing.
template <typename Function>
ReturnValue error_of(Function function) {
  try {
    function();
  } catch (const PKCS11_ReturnError& error) {
    return error.get_return_value();
  }
  return ReturnValue::OK;
}

/// The text of the exception of type Error that `function` throws; empty when it throws nothing.
template <typename Error, typename Function>
std::string message_of(Function function) {
  try {
    function();
  } catch (const Error& error) {
    return error.what();
  }
  return {};
}
