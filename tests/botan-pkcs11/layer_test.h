// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/der_enc.h>
#include <botan/p11_types.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace Botan::PKCS11;
using testing::ElementsAre;
using testing::IsEmpty;

namespace Botan {
namespace PKCS11 {
inline void PrintTo(ReturnValue value, std::ostream* out) { *out << PKCS11_ReturnError(value).what(); }
}  // namespace PKCS11
}  // namespace Botan

/// DER, as CKA_EC_POINT has it around the point.
inline std::vector<uint8_t> octet_string(const std::vector<uint8_t>& content) {
  std::vector<uint8_t> der;
  Botan::DER_Encoder(der).encode(content, Botan::OCTET_STRING);
  return der;
}

inline Botan::secure_vector<uint8_t> secret(const std::string& text) { return {text.begin(), text.end()}; }

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
