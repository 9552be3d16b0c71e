// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <tee_token/vendor_interface.h>

#include <cstdint>
#include <map>
#include <vector>

/// A PKCS #11 library without cryptography behind the spy, for tests to see what the layer asks of a token.
struct FakeToken {
  std::map<CK_ATTRIBUTE_TYPE, std::vector<uint8_t>> values;  // of every object
  std::vector<CK_OBJECT_HANDLE> found;                       // by every search
  std::vector<CK_SLOT_ID> slots;
  CK_STATE state = 0;  // of every session
};

/// The one fake token of this process, after fresh_fake_token(). Its session has the handle 7, the objects
/// that it makes have 21 and more, its signatures are 64 times 's'.
FakeToken& fake_token();
FakeToken& fresh_fake_token();
