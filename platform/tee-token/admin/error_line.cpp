#include "error_line.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <map>

#include "return_value_name.h"

namespace tee_token_admin {
namespace {

const std::map<CK_RV, const char*> kHints = {
    {CKR_ATTRIBUTE_SENSITIVE, "the token does not give this value away"},
    {CKR_DEVICE_ERROR, "the token cannot be used"},
    {CKR_DEVICE_MEMORY, "the token is full"},
    {CKR_OBJECT_HANDLE_INVALID, "there is no such object; tee-token list shows those that are there"},
    {CKR_PIN_INCORRECT, "wrong PIN; give the right one with --pin-hex or --so-pin-hex"},
    {CKR_PIN_LEN_RANGE, "the token does not take a PIN of this length"},
    {CKR_PIN_LOCKED, "too many wrong tries: the PIN is locked"},
    {CKR_TOKEN_NOT_PRESENT, "there is no token; make one with: tee-token init"},
    {CKR_TOKEN_NOT_RECOGNIZED, "the token is not initialised; run: tee-token init"},
    {CKR_TOKEN_WRITE_PROTECTED, "the token can only be read"},
};

}  // namespace

FailureLines::FailureLines() : m_file(::memfd_create("tee-token failure lines", 0)) {
  if (m_file >= 0) {
    ::setenv("TEE_TOKEN_LOG", "all", 1);
    ::setenv("TEE_TOKEN_LOG_FD", std::to_string(m_file).c_str(), 1);
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
  const auto hint = kHints.find(code);
  return "tee-token: " + tee_token::return_value_name(code) +
         (hint == kHints.end() ? ": the token refused" : std::string(": ") + hint->second);
}

}  // namespace tee_token_admin
