// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/exceptn.h>
#include <botan/p11_constants.h>
#include <botan/p11_export.h>

#include <string>

namespace Botan {
namespace PKCS11 {

/// What a `return_value` argument says of a token function that fails:
///
/// | argument                   | success           | failure                                             |
/// |----------------------------|-------------------|-----------------------------------------------------|
/// | ThrowException (a default) | true              | throws PKCS11_ReturnError                           |
/// | nullptr                    | true              | false; the code is lost                             |
/// | any other pointer          | true, *p is OK    | false, *p is the code                               |
///
/// Only CKR_OK is success. What does not come from the token (no such symbol, no memory) is thrown in any
/// case.
extern BOTAN_PKCS11_API ReturnValue* ThrowException;

/// A failure of this layer. what() is "PKCS11 error " and the text.
class BOTAN_PKCS11_API PKCS11_Error : public Exception {
 public:
  explicit PKCS11_Error(const std::string& what) : Exception("PKCS11 error", what) {}

  ErrorType error_type() const noexcept override { return ErrorType::Pkcs11Error; }
};

/// A token function returned something other than CKR_OK. what() is "PKCS11 error " and the code's low 32
/// bits in decimal.
class BOTAN_PKCS11_API PKCS11_ReturnError final : public PKCS11_Error {
 public:
  explicit PKCS11_ReturnError(ReturnValue return_value)
      : PKCS11_Error(std::to_string(static_cast<uint32_t>(return_value))), m_return_value(return_value) {}

  /// The code with all its bits.
  ReturnValue get_return_value() const { return m_return_value; }

  int error_code() const noexcept override { return static_cast<int>(static_cast<uint32_t>(m_return_value)); }

 private:
  const ReturnValue m_return_value;
};

}  // namespace PKCS11
}  // namespace Botan
