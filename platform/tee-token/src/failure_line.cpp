#include "failure_line.h"

#include <new>

#include "failure_log.h"
#include "return_value_name.h"

namespace tee_token {
namespace {

void write_line(const char* call, CK_RV code, const char* folder, const std::string& reason, Level level) {
  if (is_wanted(level)) {
    write_to_log(std::string("tee-token: ") + call + ": " + return_value_name(code) + ": " + folder + ": " +
                 reason + "\n");
  }
}

std::string reason_of(const Error& error) {
  return error.subject().empty() ? error.what() : error.subject() + ": " + error.what();
}

CK_RV told(const char* call, CK_RV code, const char* folder, const std::string& reason,
           Level level) noexcept {
  try {
    write_line(call, code, folder, reason, level);
  } catch (const std::bad_alloc&) {
    // the answer matters more than the line
  }
  return code;
}

}  // namespace

bool is_told(const Error& error) {
  return is_wanted(dynamic_cast<const Failure*>(&error) != nullptr ? Level::kFailures : Level::kAll);
}

CK_RV answer_for_current_exception(const char* call, const char* folder) noexcept {
  try {
    throw;
  } catch (const Failure& failure) {
    return told(call, failure.code(), folder, reason_of(failure), Level::kFailures);
  } catch (const Error& error) {
    return told(call, error.code(), folder, reason_of(error), Level::kAll);
  } catch (const std::bad_alloc&) {
    return told(call, CKR_HOST_MEMORY, folder, "out of memory", Level::kFailures);
  } catch (const std::exception& exception) {
    return told(call, CKR_GENERAL_ERROR, folder, exception.what(), Level::kFailures);
  } catch (...) {
    return told(call, CKR_GENERAL_ERROR, folder, "unknown exception", Level::kFailures);
  }
}

}  // namespace tee_token
