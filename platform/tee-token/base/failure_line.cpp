// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "base/failure_line.h"

#include <new>

#include "base/failure_log.h"
#include "base/return_value_name.h"

namespace tee_token {
namespace {

std::string line_of(const char* call, CK_RV code, const char* folder, const std::string& reason) {
  return std::string("tee-token: ") + call + ": " + return_value_name(code) + ": " + folder + ": " + reason +
         "\n";
}

std::string reason_of(const Error& error) {
  return error.subject().empty() ? error.what() : error.subject() + ": " + error.what();
}

Answer answer_with_line(const char* call, CK_RV code, const char* folder, const std::string& reason,
                        Level level) noexcept {
  try {
    return {code, is_wanted(level) ? line_of(call, code, folder, reason) : ""};
  } catch (const std::bad_alloc&) {  // the code matters more than the line
    return {code, {}};
  }
}

}  // namespace

bool is_told(const Error& error) {
  return is_wanted(dynamic_cast<const Failure*>(&error) != nullptr ? Level::kFailures : Level::kAll);
}

Answer answer_for_current_exception(const char* call, const char* folder) noexcept {
  try {
    throw;
  } catch (const Failure& failure) {
    return answer_with_line(call, failure.code(), folder, reason_of(failure), Level::kFailures);
  } catch (const Error& error) {
    return answer_with_line(call, error.code(), folder, reason_of(error), Level::kAll);
  } catch (const std::bad_alloc&) {
    return answer_with_line(call, CKR_HOST_MEMORY, folder, "out of memory", Level::kFailures);
  } catch (const std::exception& exception) {
    return answer_with_line(call, CKR_GENERAL_ERROR, folder, exception.what(), Level::kFailures);
  } catch (...) {
    return answer_with_line(call, CKR_GENERAL_ERROR, folder, "unknown exception", Level::kFailures);
  }
}

void tell(const Answer& answer) noexcept {
  if (answer.line.empty()) {
    return;
  }
  try {
    write_to_log(answer.line);
  } catch (const std::bad_alloc&) {
    // there is nothing left to say it with
  }
}

}  // namespace tee_token
