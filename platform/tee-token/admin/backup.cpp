#include <filesystem>
#include <iostream>

#include "check_files.h"
#include "commands.h"
#include "file_descriptor.h"
#include "folder_lock.h"
#include "input_file.h"
#include "shown_text.h"
#include "token_copy.h"

namespace tee_token_admin {

using tee_token::DeviceFolder;

namespace {

namespace fs = std::filesystem;

/// The folder of the platform's token. Throws UsageError for another module's, whose files are unknown.
DeviceFolder folder_of(const Target& target) {
  if (!target.module.empty()) {
    throw UsageError("only the platform's token can be backed up and restored; leave out --module");
  }
  DeviceFolder folder = DeviceFolder::of_environment();
  folder.require_private();
  return folder;
}

// A damaged copy could be the last one.
void require_sound(const DeviceFolder& folder) {
  Findings findings;
  check_files(findings, folder);
  if (findings.has(Fault::kFiles)) {
    throw UsageError(
        "the token is damaged or not initialised, and no copy was made; tee-token check tells more");
  }
}

void require_replaceable(const std::string& path) {
  if (fs::exists(path) && !(fs::is_regular_file(path) && is_backup(read_file(path)))) {
    throw UsageError(path + " is there and no backup, and was left as it is; choose another name");
  }
}

bool has_store(const DeviceFolder& folder) {
  std::error_code absent;
  return fs::file_size(folder.file("token.db"), absent) > 0 && !absent;
}

}  // namespace

void backup(const Target& target, const std::string& path) {
  const DeviceFolder folder = folder_of(target);
  const FolderLock lock(target);
  require_sound(folder);
  require_replaceable(path);
  const tee_token::Bytes file = sealed(copy_of(folder), folder);
  tee_token::write_private_file(fs::absolute(path).string(), file);
  std::cout << "backed up the token to " << path << ", " << counted(file.size(), "byte") << "\n";
}

void restore(const Target& target, const std::string& path, bool force) {
  const DeviceFolder folder = folder_of(target);
  const FolderLock lock(target);
  const TokenCopy copy = unsealed(read_file(path), folder);
  if (has_store(folder) && !force) {
    throw UsageError("there is a token already, and it was left as it is; --force replaces it by the backup");
  }
  put_in_place(copy, folder);
  std::cout << "restored the token from " << path << "\n";
}

}  // namespace tee_token_admin
