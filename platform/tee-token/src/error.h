#pragma once

#include <stdexcept>
#include <string>

#include "cryptoki.h"

namespace tee_token {

/// A call that ends with a code other than CKR_OK, and why. The caller's own doing, part of normal use.
class Error : public std::runtime_error {
 public:
  Error(CK_RV code, const std::string& reason) : std::runtime_error(reason), m_code(code) {}
  CK_RV code() const noexcept { return m_code; }

 private:
  CK_RV m_code;
};

/// An error that a person has to look at: the failure line tells it unless TEE_TOKEN_LOG is "off".
class Failure : public Error {
 public:
  using Error::Error;
};

}  // namespace tee_token
