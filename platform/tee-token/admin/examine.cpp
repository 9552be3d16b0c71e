#include "examine.h"

#include <botan/p11.h>

namespace tee_token_admin {

using namespace Botan::PKCS11;

void examine(Findings& findings, ObjectHandle object, const std::function<void()>& step) {
  try {
    step();
  } catch (const PKCS11_ReturnError& error) {
    if (error.get_return_value() != ReturnValue::ObjectHandleInvalid) {
      findings.add(Fault::kUnreadable, "object " + std::to_string(object) + ": " + error.what());
    }
  } catch (const Botan::Exception& error) {
    findings.add(Fault::kUnreadable, "object " + std::to_string(object) + ": " + error.what());
  }
}

}  // namespace tee_token_admin
