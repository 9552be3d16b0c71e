// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

namespace Botan {
namespace PKCS11 {

/// The right to be the one gated Module of this process. Ends on any thread.
class ModuleHold {
 public:
  /// Waits until there is no other. Throws Invalid_State if the other one was made on this thread.
  ModuleHold();
  ~ModuleHold();

  ModuleHold(const ModuleHold&) = delete;
  ModuleHold& operator=(const ModuleHold&) = delete;

 private:
  pid_t m_process;
};

}  // namespace PKCS11
}  // namespace Botan
