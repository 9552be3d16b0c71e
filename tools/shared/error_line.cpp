// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/error_line.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <map>

#include "base/return_value_name.h"

namespace tee_token_admin {
namespace {

struct Meaning {
  int exit_code;
  const char* hint;
};

const std::map<CK_RV, Meaning> kMeanings = {
    {CKR_ATTRIBUTE_SENSITIVE, {kFailed, "the token does not give this value away"}},
    {CKR_DEVICE_ERROR, {kUnusable, "the token cannot be used"}},
    {CKR_DEVICE_MEMORY, {kUnusable, "the token is full"}},
    {CKR_DEVICE_REMOVED, {kUnusable, "the token was exchanged meanwhile; try again"}},
    {CKR_OBJECT_HANDLE_INVALID,
     {kFailed, "there is no such object; tee-token list shows those that are there"}},
    {CKR_PIN_INCORRECT, {kWrongPin, "wrong PIN; give the right one with --pin-hex or --so-pin-hex"}},
    {CKR_PIN_LEN_RANGE, {kWrongPin, "the token does not take a PIN of this length"}},
    {CKR_PIN_LOCKED,
     {kWrongPin, "too many wrong tries: the PIN is locked; tee-token reset-pin sets a new one"}},
    {CKR_TOKEN_NOT_PRESENT,
     {kNoToken, "there is no token; make one with: tee-token init (TEE_TOKEN_DIR says where)"}},
    {CKR_TOKEN_NOT_RECOGNIZED, {kNoToken, "the token is not initialised; run: tee-token init"}},
    {CKR_TOKEN_WRITE_PROTECTED, {kUnusable, "the token can only be read"}},
    {CKR_USER_PIN_NOT_INITIALIZED, {kNoToken, "the user has no PIN yet; run: tee-token reset-pin"}},
};

bool names_destination(const std::string& words) {
  const auto named = [&](const char* word) { return words.find(word) != std::string::npos; };
  return named("stderr") || named("syslog") || named("file:");
}

}  // namespace

// The user's destinations get what he asked for; without any, all answers come here.
FailureLines::FailureLines() : m_file(::memfd_create("tee-token failure lines", 0)) {
  const char* const setting = ::getenv("TEE_TOKEN_LOG");
  const std::string words = setting == nullptr ? "" : setting;
  if (m_file >= 0) {
    const std::string here = ",file:/proc/self/fd/" + std::to_string(m_file);
    ::setenv("TEE_TOKEN_LOG", ((names_destination(words) ? words : "all") + here).c_str(), 1);
  }
}

FailureLines::~FailureLines() { ::close(m_file); }

std::string FailureLines::last() const {
  std::string text;
  char part[4096];
  for (ssize_t length = 0;
       (length = ::pread(m_file, part, sizeof part, static_cast<off_t>(text.size()))) > 0;) {
    text.append(part, static_cast<std::size_t>(length));
  }
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  return text.substr(text.rfind('\n') + 1);
}

std::string error_line(CK_RV code, const FailureLines& lines) {
  std::string said = lines.last();
  if (said.find(tee_token::return_value_name(code)) != std::string::npos) {
    return said;
  }
  const auto meaning = kMeanings.find(code);
  return "tee-token: " + tee_token::return_value_name(code) +
         (meaning == kMeanings.end() ? ": the token refused" : std::string(": ") + meaning->second.hint);
}

int exit_code_of(CK_RV code) {
  const auto meaning = kMeanings.find(code);
  return meaning == kMeanings.end() ? kFailed : meaning->second.exit_code;
}

std::string help_on_exit_codes() {
  return "Exit code: 0 done, 1 not done, 2 wrong command line, 3 wrong or locked PIN,\n"
         "4 no token or not initialised, 5 token cannot be used; more in check --help\n";
}

}  // namespace tee_token_admin
