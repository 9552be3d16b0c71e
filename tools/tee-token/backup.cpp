// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <iostream>

#include "backup_file.h"
#include "commands.h"
#include "folder_lock.h"
#include "shared/shown_text.h"
#include "store/token.h"

namespace tee_token_admin {

namespace {

std::string copy_of(const tee_token::DeviceFolder& folder) {
  try {
    return tee_token::Token(folder).copy_of_store();
  } catch (const tee_token::Failure& failure) {
    throw tee_token::Failure(failure.code(), std::string("no backup was made: ") + failure.what());
  }
}

}  // namespace

void backup(const Target& target, const std::string& path) {
  const tee_token::DeviceFolder folder = platform_folder(target);
  require_place_for_backup(path, folder);
  const FolderLock lock(target);
  const std::string copy = copy_of(folder);
  write_backup(path, copy);
  std::cout << "backed up the token to " << path << ", " << shown_text::counted(copy.size(), "byte") << "\n";
}

}  // namespace tee_token_admin
