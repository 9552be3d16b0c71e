// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <sstream>

#include "base/error.h"
#include "base/files.h"
#include "base/without_sigpipe.h"

namespace tee_token {
namespace {

/// TEE_TOKEN_LOG: words, separated by commas; a later one overrides an earlier one.
struct LogSettings {
  bool failures = true, all = false;
  std::string file;  // empty: stderr
  std::string warning;
};

// Not destroyed: a program may call the module while it exits.
LogSettings& log_settings() {
  static LogSettings& settings = *new LogSettings;
  return settings;
}

bool is_wanted(bool is_failure) { return is_failure ? log_settings().failures : log_settings().all; }

// In one write, so that lines of several processes do not mix.
bool write_line(int file, const std::string& line) {
  const WithoutSigpipe blocked;
  return ::write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

bool append_to(const std::string& path, const std::string& line) {
  const FileDescriptor file = open_file(path, O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY | O_NONBLOCK);
  return file.get() >= 0 && write_line(file.get(), line);
}

/// Its texts belong to the exception.
struct Reason {
  CK_RV code;
  bool is_failure;
  const char* text;
  const char* subject = "";
};

Reason reason_of_current_exception() noexcept {
  try {
    throw;
  } catch (const Error& error) {
    return {error.code(), dynamic_cast<const Failure*>(&error) != nullptr, error.what(),
            error.subject().c_str()};
  } catch (const std::bad_alloc&) {
    return {CKR_HOST_MEMORY, true, "out of memory"};
  } catch (const std::exception& exception) {
    return {CKR_GENERAL_ERROR, true, exception.what()};
  } catch (...) {
    return {CKR_GENERAL_ERROR, true, "unknown exception"};
  }
}

}  // namespace

void read_log_settings() {
  LogSettings found;
  const char* const text = ::secure_getenv("TEE_TOKEN_LOG");
  std::istringstream words(text == nullptr ? "" : text);
  for (std::string word; std::getline(words, word, ',');) {
    if (word == "failures" || word == "all" || word == "off") {
      found.failures = word != "off";
      found.all = word == "all";
    } else if (word == "stderr") {
      found.file.clear();
    } else if (word.rfind("file:/", 0) == 0) {  // absolute: the program may change its working directory
      found.file = word.substr(5);
    } else if (!word.empty()) {
      found.warning =
          "tee-token: TEE_TOKEN_LOG: \"" + word + "\" is none of failures, all, off, stderr and file:/PATH\n";
    }
  }
  log_settings() = std::move(found);
}

bool is_logged(const Error& error) { return is_wanted(dynamic_cast<const Failure*>(&error) != nullptr); }

Answer answer_for_current_exception(const char* call, const char* folder) noexcept {
  const Reason reason = reason_of_current_exception();
  Answer answer;
  answer.code = reason.code;
  try {
    if (is_wanted(reason.is_failure)) {
      answer.file = log_settings().file;
      answer.line = log_settings().warning + "tee-token: " + call + ": " + return_value_name(reason.code) +
                    ": " + folder + (*folder == 0 ? "" : ": ") + reason.subject +
                    (*reason.subject == 0 ? "" : ": ") + reason.text + "\n";
    }
  } catch (const std::bad_alloc&) {
    // no memory for the line
  }
  return answer;
}

void write_failure_line(const Answer& answer) noexcept {
  if (answer.line.empty()) {
    return;
  }
  try {
    if (answer.file.empty()) {
      write_line(STDERR_FILENO, answer.line);
    } else if (!append_to(answer.file, answer.line)) {
      write_line(STDERR_FILENO, answer.line + "tee-token: TEE_TOKEN_LOG: cannot write to " + answer.file +
                                    ": " + std::strerror(errno) + "\n");
    }
  } catch (const std::bad_alloc&) {
    // no memory for a message
  }
}

}  // namespace tee_token
