// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "examine.h"

#include <botan/p11.h>

#include "base/return_value_name.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

void add(Findings& findings, ObjectHandle object, const std::string& reason) {
  findings.add(Fault::kUnreadable, "object " + std::to_string(object) + ": " + reason +
                                       "; if it stays so, destroy it and store it anew");
}

}  // namespace

void examine(Findings& findings, ObjectHandle object, const std::function<void()>& step) {
  try {
    step();
  } catch (const PKCS11_ReturnError& error) {
    if (error.get_return_value() != ReturnValue::ObjectHandleInvalid) {
      add(findings, object, tee_token::return_value_name(static_cast<CK_RV>(error.get_return_value())));
    }
  } catch (const Botan::Exception& error) {
    add(findings, object, error.what());
  }
}

}  // namespace tee_token_admin
