// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>

#include "base/error.h"
#include "base/files.h"
#include "checks.h"
#include "commands.h"
#include "shared/error_line.h"
#include "shared/shown_text.h"
#include "store/device_folder.h"
#include "store/token_record.h"

namespace tee_token_admin {

using shown_text::counted;

using namespace Botan::PKCS11;

namespace {

struct File {
  const char* name;
  const char* remedy;
};

constexpr char kRestore[] = "; put back a copy of the folder, or make a new token in an empty one";
constexpr File kFiles[] = {{"device.key", kRestore},
                           {"token.db", kRestore},
                           {tee_token::kCounterFile, "; write two zero bytes to it"}};

void check_writable(Findings& findings, const std::string& path) {
  const auto status = tee_token::find_status(path, 0);
  if (status && (status->st_mode & S_IWUSR) == 0) {
    findings.add(Fault::kFiles, path + " cannot be written; run: chmod 600 " + path);
  }
}

void check_room(Findings& findings, const tee_token::DeviceFolder& folder) {
  if (!folder.is_writable()) {
    findings.add(Fault::kFiles, folder.path() +
                                    " cannot be written: it is on a read-only medium, or lacks a mode; " +
                                    "run: findmnt -T " + folder.path() + "; chmod 700 " + folder.path());
  } else if (folder.free_bytes() == 0) {
    findings.add(Fault::kFiles, "the disk of " + folder.path() + " is full; free some space");
  }
}

// Other exceptions, such as for a locked store, are no finding and end the check.
void check_integrity(Findings& findings, const std::string& path) {
  try {
    tee_token::Database store(path);
    if (tee_token::is_token_store(store)) {
      tee_token::ObjectStore::last_number(store, tee_token::kTokenNumbers);
    }
    store.check_integrity();
  } catch (const tee_token::Damage& damage) {
    findings.add(Fault::kFiles, path + ": " + damage.what());
  }
}

/// Presence, owner, mode, content, the store's schema, numbers and integrity, and temporary files of an
/// interrupted run. Returns whether the token can be used.
bool check_files(Findings& findings, const tee_token::DeviceFolder& folder) {
  const auto check_access = [&](const std::string& prefix, const char* remedy, const auto& require) {
    try {
      require();
    } catch (const tee_token::Failure& failure) {
      findings.add(Fault::kFiles, prefix + failure.what() + remedy);
    }
  };
  const auto usable = [&] { return findings.exit_code() != static_cast<int>(Fault::kFiles); };
  check_access(folder.path() + ": ", "", [&] { folder.require_private(); });
  if (!usable()) {
    return false;
  }
  check_room(findings, folder);
  for (const File& file : kFiles) {
    const std::string path = folder.file(file.name);
    check_access("", tee_token::find_status(path, AT_SYMLINK_NOFOLLOW) ? "" : file.remedy,
                 [&] { tee_token::require_private_file(path); });
    check_writable(findings, path);
    if (tee_token::find_status(path + ".new", AT_SYMLINK_NOFOLLOW)) {
      findings.add(Fault::kLeftover, path + ".new is a temporary file left by an interrupted run; remove it");
    }
  }
  if (usable()) {
    check_access(folder.path() + "/", "", [&] { folder.device(); });
    check_access(folder.path() + "/", "", [&] { tries_left(folder, tee_token::User::kSecurityOfficer); });
  }
  if (usable()) {
    check_integrity(findings, folder.file("token.db"));
  }
  return usable();
}

/// Returns whether the user may try to log in.
bool check_pins(Findings& findings, const Target& target) {
  OpenSlot open(target, true);
  const CK_FLAGS flags = open.slot().get_token_info().flags;
  const struct {
    CK_FLAGS flag;
    const char* text;
  } rules[] = {
      {CKF_USER_PIN_LOCKED, "the user PIN is locked; run: tee-token reset-pin --platform-pin"},
      {CKF_USER_PIN_FINAL_TRY, "the user PIN has one try left; the right PIN resets the counter"},
      {CKF_SO_PIN_LOCKED, "the security officer's PIN is locked; only a new token in an empty folder helps"},
      {CKF_SO_PIN_FINAL_TRY, "the security officer's PIN has one try left; the right PIN resets the counter"},
  };
  for (const auto& rule : rules) {
    if ((flags & rule.flag) != 0) {
      findings.add(Fault::kPin, rule.text);
    }
  }
  return (flags & (CKF_USER_PIN_LOCKED | CKF_USER_PIN_FINAL_TRY)) == 0;
}

/// Returns the number of objects.
std::size_t check_objects(Findings& findings, const Target& target, unsigned days) {
  TokenSession token(target);
  token.login(UserType::User);
  check_identities(findings, token, days);
  check_certificates(findings, token, days);
  return token.find(AttributeContainer()).size();
}

}  // namespace

void examine(Findings& findings, ObjectHandle object, const std::function<void()>& step) {
  try {
    step();
  } catch (const Botan::Exception& error) {
    if (!is_absence(error)) {
      findings.add(Fault::kUnreadable, "object " + std::to_string(object) + ": " + reason_of(error) +
                                           "; if it persists, destroy the object and store it again");
    }
  }
}

int check(const Target& target, unsigned days, bool json) {
  Findings findings;
  const auto folder = tee_token::DeviceFolder::of_environment();
  const bool usable = !is_platforms(target) || !folder.exists() || check_files(findings, folder);
  std::string conclusion = "objects not checked";
  if (usable && check_pins(findings, target)) {
    conclusion = counted(check_objects(findings, target, days), "object") + " checked";
  }
  findings.print(counted(findings.count(), "finding") + ", " + conclusion, json);
  return findings.exit_code();
}

}  // namespace tee_token_admin
