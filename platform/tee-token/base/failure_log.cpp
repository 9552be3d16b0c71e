// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "base/failure_log.h"

#include <fcntl.h>
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

#include "base/file_descriptor.h"

namespace tee_token {
namespace {

/// TEE_TOKEN_LOG: words, separated by commas, in any order.
struct Settings {
  bool failures = true, all = false;
  std::vector<std::string> destinations;  // stderr, syslog, file:/PATH
  std::string unknown;
};

bool is_destination(const std::string& word) {
  return word == "stderr" || word == "syslog" || (word.rfind("file:/", 0) == 0);
}

Settings settings() {
  Settings found;
  const char* const text = ::secure_getenv("TEE_TOKEN_LOG");
  std::istringstream words(text == nullptr ? "" : text);
  for (std::string word; std::getline(words, word, ',');) {
    if (word == "failures" || word == "all" || word == "off") {
      found.failures = word != "off";
      found.all = word == "all";
    } else if (is_destination(word)) {
      found.destinations.push_back(word);
    } else if (!word.empty()) {
      found.unknown = word;
    }
  }
  return found;
}

int default_destination() {
  const char* const setting = ::secure_getenv("TEE_TOKEN_LOG_FD");
  char* end = nullptr;
  const long number = setting == nullptr ? STDERR_FILENO : std::strtol(setting, &end, 10);
  const bool usable =
      setting == nullptr || (end != setting && *end == '\0' && number > 0 && number <= INT_MAX);
  return usable ? static_cast<int>(number) : STDERR_FILENO;
}

// In one write, so that lines of several processes do not mix. A reader that has gone away is no reason for a
// signal to end the host program.
bool write_quietly(int file, const std::string& line) {
  sigset_t pipe_signal, before;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_signal, &before);
  const bool written = ::write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  const int error = errno;
  if (!written && error == EPIPE && sigismember(&before, SIGPIPE) == 0) {
    const timespec at_once = {0, 0};
    sigtimedwait(&pipe_signal, nullptr, &at_once);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return written;
}

void append_to(const char* path, const std::string& line) {
  const FileDescriptor file(
      ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600));
  if (file.get() < 0 || !write_quietly(file.get(), line)) {
    write_quietly(STDERR_FILENO, line + "tee-token: TEE_TOKEN_LOG: cannot write to " + path + ": " +
                                     std::strerror(errno) + "\n");
  }
}

void write_to(const std::string& destination, const std::string& line) {
  if (destination == "stderr") {
    write_quietly(STDERR_FILENO, line);
  } else if (destination == "syslog") {
    ::syslog(LOG_USER | LOG_WARNING, "%s", line.c_str());
  } else {
    append_to(destination.c_str() + std::strlen("file:"), line);
  }
}

}  // namespace

bool is_wanted(Level level) {
  const Settings wanted = settings();
  return level == Level::kFailures ? wanted.failures : wanted.all;
}

void write_to_log(const std::string& line) {
  const Settings wanted = settings();
  if (!wanted.unknown.empty()) {
    write_quietly(STDERR_FILENO, "tee-token: TEE_TOKEN_LOG: \"" + wanted.unknown +
                                     "\" is none of failures, all, off, stderr, syslog and file:/PATH\n");
  }
  for (const std::string& destination : wanted.destinations) {
    write_to(destination, line);
  }
  if (wanted.destinations.empty()) {
    if (!write_quietly(default_destination(), line)) {
      write_quietly(STDERR_FILENO, line);
    }
  }
}

}  // namespace tee_token
