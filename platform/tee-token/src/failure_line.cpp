#include "failure_line.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "error.h"
#include "return_value_name.h"

namespace tee_token {
namespace {

enum class Shown { kNothing, kFailures, kAll };

Shown wanted() {
  const char* setting = ::secure_getenv("TEE_TOKEN_LOG");
  if (setting == nullptr) {
    return Shown::kFailures;
  }
  return std::strcmp(setting, "off") == 0   ? Shown::kNothing
         : std::strcmp(setting, "all") == 0 ? Shown::kAll
                                            : Shown::kFailures;
}

int destination() {
  const char* setting = ::secure_getenv("TEE_TOKEN_LOG_FD");
  return setting == nullptr ? STDERR_FILENO : static_cast<int>(std::strtol(setting, nullptr, 10));
}

void write_line(const char* call, CK_RV code, const std::string& folder, const char* reason, Shown level) {
  if (level > wanted()) {
    return;
  }
  const std::string line = std::string("tee-token: ") + call + ": " + return_value_name(code) + ": " +
                           folder + ": " + reason + "\n";
  // One write, so that lines of several processes do not mix; a closed file is the caller's choice.
  const ssize_t ignored = ::write(destination(), line.data(), line.size());
  static_cast<void>(ignored);
}

CK_RV told(const char* call, CK_RV code, const std::string& folder, const char* reason,
           Shown level) noexcept {
  try {
    write_line(call, code, folder, reason, level);
  } catch (const std::bad_alloc&) {
    // the answer matters more than the line
  }
  return code;
}

}  // namespace

CK_RV answer_for_current_exception(const char* call, const std::string& folder) noexcept {
  try {
    throw;
  } catch (const Failure& failure) {
    return told(call, failure.code(), folder, failure.what(), Shown::kFailures);
  } catch (const Error& error) {
    return told(call, error.code(), folder, error.what(), Shown::kAll);
  } catch (const std::bad_alloc&) {
    return told(call, CKR_HOST_MEMORY, folder, "out of memory", Shown::kFailures);
  } catch (const std::exception& exception) {
    return told(call, CKR_GENERAL_ERROR, folder, exception.what(), Shown::kFailures);
  } catch (...) {
    return told(call, CKR_GENERAL_ERROR, folder, "unknown exception", Shown::kFailures);
  }
}

}  // namespace tee_token
