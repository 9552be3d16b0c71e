#pragma once

#include <botan/p11.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// A PKCS #11 library without cryptography, for tests to see what the layer asks of a token. It is linked to
/// the test program, and Module loads the same instance from FAKE_TOKEN.
struct FakeToken {
  /// The calls so far, as "C_CreateObject 7 [type=value ...]": the numbers among the arguments, mechanisms
  /// and attributes in hexadecimal. Other pointers are left out.
  std::vector<std::string> calls;
  std::vector<std::string> take_calls() { return std::exchange(calls, {}); }

  std::map<std::string, CK_RV> failures;                     // what a function answers, unless CKR_OK
  std::map<CK_ATTRIBUTE_TYPE, std::vector<uint8_t>> values;  // of every object
  std::vector<CK_OBJECT_HANDLE> found;                       // by every search
  std::vector<CK_SLOT_ID> slots;
  CK_STATE state = 0;  // of every session
  bool has_interface = true;
  std::mutex mutex;  // of `calls`
};

/// The one fake token of this process, after fresh_fake_token(). Its session has the handle 7, the objects
/// that it makes have 21 and more, its signatures are 64 times 's'.
FakeToken& fake_token();
FakeToken& fresh_fake_token();
