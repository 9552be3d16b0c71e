// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "backup_file.h"

#include <filesystem>

#include "base/error.h"
#include "base/file_descriptor.h"
#include "input_file.h"
#include "shared/token_access.h"

namespace tee_token_admin {
namespace {

namespace fs = std::filesystem;

// Of SQLite, and at its place in SQLite's header, of a token.
bool is_backup(const std::string& content) {
  return content.compare(0, 15, "SQLite format 3") == 0 && content.size() > 100 &&
         content.compare(68, 4, "TEET") == 0;
}

bool is_within(const fs::path& folder, const std::string& other) {
  std::error_code ignored;
  return fs::equivalent(folder, other, ignored) ||
         (folder != folder.root_path() && is_within(folder.parent_path(), other));
}

/// With all links in the names of folders resolved. Throws UsageError.
fs::path folder_of(const std::string& path) {
  std::error_code error;
  const fs::path folder = fs::canonical(fs::absolute(path, error).parent_path(), error);
  if (error) {
    throw UsageError("cannot write " + path + ": " + error.message());
  }
  return folder;
}

}  // namespace

std::string read_backup(const std::string& path) {
  std::error_code ignored;
  const bool readable = !fs::exists(path, ignored) || fs::is_regular_file(path, ignored);
  const std::string content = readable ? read_file(path) : "";
  if (!is_backup(content)) {
    throw UsageError(path + " is not the backup of a token; give a file that tee-token backup has written");
  }
  return content;
}

void require_place_for_backup(const std::string& path, const tee_token::DeviceFolder& token) {
  if (is_within(folder_of(path), token.path())) {
    throw UsageError(path + " is in the token's own folder; choose another one for the backup");
  }
  const fs::file_type type = fs::symlink_status(path).type();
  if (type == fs::file_type::not_found) {
    return;
  }
  if (type != fs::file_type::regular || !(fs::file_size(path) == 0 || is_backup(read_file(path)))) {
    throw UsageError(path +
                     " is there and no file with a backup, and was left as it is; choose another name");
  }
}

void write_backup(const std::string& path, const std::string& content) {
  try {
    tee_token::replace_file(fs::absolute(path).string(), content);
  } catch (const tee_token::Failure& failure) {
    throw UsageError(failure.what());
  }
}

}  // namespace tee_token_admin
