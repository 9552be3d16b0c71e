// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <iostream>

#include "backup_file.h"
#include "commands.h"
#include "folder_lock.h"
#include "store/token.h"

namespace tee_token_admin {

using tee_token::Token;

namespace {

/// What the file holds, checked and in today's form as a token's own store is. Only its copy in memory is
/// looked at, so that nobody changes it meanwhile.
std::string checked(const std::string& path, const tee_token::DeviceFolder& folder) {
  const std::string content = read_backup(path);
  try {
    return Token(folder, tee_token::Database::of_image(content)).copy_of_store();
  } catch (const tee_token::Failure& failure) {
    throw UsageError(path + " cannot be restored: " + failure.what());
  }
}

}  // namespace

void restore(const Target& target, const std::string& path, bool force) {
  const tee_token::DeviceFolder folder = platform_folder(target);
  const FolderLock lock(target);
  folder.device_key();
  Token(folder).restore(checked(path, folder), force);
  std::cout << "restored the token from " << path << "\n";
}

}  // namespace tee_token_admin
