#include "failure_line.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
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
  const char* const setting = ::secure_getenv("TEE_TOKEN_LOG_FD");
  char* end = nullptr;
  const long number = setting == nullptr ? STDERR_FILENO : std::strtol(setting, &end, 10);
  const bool usable = setting == nullptr || (end != setting && *end == '\0' && number > 0);
  return usable ? static_cast<int>(number) : STDERR_FILENO;
}

// In one write, so that lines of several processes do not mix. A reader that has gone away is no reason for a
// signal to end the host program.
void write_quietly(const std::string& line) {
  sigset_t pipe_signal, before;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_signal, &before);
  if (::write(destination(), line.data(), line.size()) < 0 && errno == EPIPE &&
      sigismember(&before, SIGPIPE) == 0) {
    const timespec at_once = {0, 0};
    sigtimedwait(&pipe_signal, nullptr, &at_once);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void write_line(const char* call, CK_RV code, const char* folder, const char* reason, Shown level) {
  if (level > wanted()) {
    return;
  }
  const std::string line = std::string("tee-token: ") + call + ": " + return_value_name(code) + ": " +
                           folder + ": " + reason + "\n";
  write_quietly(line);
}

CK_RV told(const char* call, CK_RV code, const char* folder, const char* reason, Shown level) noexcept {
  try {
    write_line(call, code, folder, reason, level);
  } catch (const std::bad_alloc&) {
    // the answer matters more than the line
  }
  return code;
}

}  // namespace

CK_RV answer_for_current_exception(const char* call, const char* folder) noexcept {
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
