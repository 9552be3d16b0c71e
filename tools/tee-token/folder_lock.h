// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/file_descriptor.h"
#include "shared/token_access.h"

namespace tee_token_admin {

/// Keeps other commands that write off the platform's token, from before the first look at it until this
/// object is gone: a command's check and its changes are transactions of their own. Waits as long as another
/// one works.
class FolderLock {
 public:
  /// Locks nothing when the target is another module or there is no token folder: the token says so.
  /// Throws UsageError when the folder cannot be locked.
  explicit FolderLock(const Target& target);

 private:
  tee_token::FileDescriptor m_folder;
};

}  // namespace tee_token_admin
