// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "tee_token/vendor_interface.h"

namespace tee_token {

/// The reason why a call ends with a code other than CKR_OK: a mistake of the caller, or normal use.
class Error : public std::runtime_error {
 public:
  Error(CK_RV code, const std::string& reason) : std::runtime_error(reason), m_code(code) {}
  CK_RV code() const noexcept { return m_code; }

  /// A description of the object that the call names, for the failure line; empty without one.
  const std::string& subject() const noexcept { return m_subject; }
  void set_subject(std::string subject) { m_subject = std::move(subject); }

 private:
  CK_RV m_code;
  std::string m_subject;
};

/// An error that a person has to look at: it is logged unless TEE_TOKEN_LOG is "off".
class Failure : public Error {
 public:
  using Error::Error;
};

/// Name of a Cryptoki return value, "CKR_PIN_INCORRECT"; "CKR_0x..." for one without a name.
std::string return_value_name(CK_RV code);

}  // namespace tee_token
