// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "check_files.h"

#include <sys/stat.h>

#include "base/file_descriptor.h"
#include "store/sqlite.h"

namespace tee_token_admin {
namespace {

using tee_token::DeviceFolder;

struct File {
  const char* name;
  off_t shortest, longest;  // 0: any
  const char* remedy;
};

constexpr char kNewToken[] = "; only a new token in an empty folder helps";
constexpr char kCopy[] =
    "; stop the programs that use the token and put a copy of the whole folder back: without one, only a new"
    " token in an empty folder helps";
constexpr File kFiles[] = {{"device.key", 32, 32, kNewToken},
                           {"token.db", 0, 0, ""},
                           {"pin-tries", 2, 3, "; write two zero bytes in it"}};

/// A Failure is a finding here.
template <typename Step>
void judge(Findings& findings, const std::string& name, const Step& step) {
  try {
    step();
  } catch (const tee_token::Failure& failure) {
    findings.add(Fault::kFiles, name + failure.what());
  }
}

void check_length(Findings& findings, const std::string& path, const File& file) {
  struct stat status {};
  if (file.longest != 0 && ::stat(path.c_str(), &status) == 0 &&
      (status.st_size < file.shortest || status.st_size > file.longest)) {
    findings.add(Fault::kFiles,
                 path + " is damaged: it must hold " + std::to_string(file.longest) + " bytes" + file.remedy);
  }
}

// That others hold the store, or that the system cannot read it, says nothing of its content.
void check_integrity(Findings& findings, const std::string& path) {
  std::string said;
  try {
    said = tee_token::Database(path).integrity();
  } catch (const tee_token::Damage& damage) {
    said = damage.what();
  }
  if (said != "ok") {
    findings.add(Fault::kFiles, path + " is damaged: " + said + kCopy);
  }
}

}  // namespace

void check_files(Findings& findings, const DeviceFolder& folder) {
  judge(findings, folder.path() + ": ", [&] { folder.require_private(); });
  for (const File& file : kFiles) {
    const std::string path = folder.file(file.name);
    judge(findings, "", [&] {
      tee_token::require_private_file(path);
      check_length(findings, path, file);
    });
    struct stat status {};
    if (::lstat((path + ".new").c_str(), &status) == 0) {
      findings.add(Fault::kLeftover, path + ".new is a draft that a stop left; remove it");
    }
  }
  if (!findings.has(Fault::kFiles)) {
    check_integrity(findings, folder.file("token.db"));
  }
}

}  // namespace tee_token_admin
