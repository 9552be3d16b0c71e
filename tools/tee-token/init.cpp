// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <iostream>

#include "commands.h"
#include "folder_lock.h"
#include "store/device_folder.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

void init(const Target& target, const std::string& label, bool force) {
  if (label.size() > 32) {
    throw UsageError("a token's label has at most 32 characters");
  }
  // What is to be locked must be there.
  if (is_platforms(target)) {
    tee_token::DeviceFolder::of_environment().make_if_absent();
  }
  const FolderLock lock(target);
  OpenSlot open(target, false);
  const SlotInfo slot = open.slot().get_slot_info();
  const bool present = (slot.flags & CKF_TOKEN_PRESENT) != 0;
  if (present && (open.slot().get_token_info().flags & CKF_TOKEN_INITIALIZED) != 0 && !force) {
    throw UsageError(
        "there is a token already, and it was left as it is; --force destroys all that is on it");
  }
  initialize_token(open.slot(), label, officer_pin(target), user_pin(target));
  std::cout << "made token '" << label << "'\n";
  if (user_pin(target) != user_pin({})) {
    std::cerr
        << "note: the library logs in with the platform's user PIN alone, so it cannot use this token\n";
  }
}

}  // namespace tee_token_admin
