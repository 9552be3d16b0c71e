// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>
#include <signal.h>

#include <array>
#include <cerrno>
#include <initializer_list>
#include <memory>
#include <string_view>

namespace ara::log::host {

/// The names of the levels, by number.
inline constexpr std::array<std::string_view, 7> kLevelNames = {"off",  "fatal", "error",  "warn",
                                                                "info", "debug", "verbose"};

/// Reports a problem of the log library itself, as one line on stderr.
void Complain(std::string_view message);

/// Writes each record as one line to a file descriptor, which stays open: time (UTC, ISO 8601, microseconds),
/// application, context, level and text, separated by blanks.
class TextSink final : public Sink {
 public:
  explicit TextSink(int descriptor) noexcept : m_descriptor(descriptor) {}

  bool Write(const Record& record) override;

 private:
  const int m_descriptor;
};

/// The sink that sends records to the DLT daemon. A process has only one, because libdlt has one connection;
/// the first record opens it.
std::shared_ptr<Sink> DltSinkOfProcess();

/// Blocks the signals of a failed write in this thread; the destructor unblocks them and restores errno. A
/// broken sink must not harm the caller.
class WriteSignalsBlocked {
 public:
  WriteSignalsBlocked() noexcept {
    sigemptyset(&m_signals);
    sigset_t pending;
    sigpending(&pending);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      // A signal that is already pending is the program's own.
      if (sigismember(&pending, signal) == 0) sigaddset(&m_signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &m_signals, &m_former);
  }
  ~WriteSignalsBlocked() {
    const timespec no_wait{};
    while (sigtimedwait(&m_signals, nullptr, &no_wait) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
    errno = m_errno;
  }

  WriteSignalsBlocked(const WriteSignalsBlocked&) = delete;
  WriteSignalsBlocked& operator=(const WriteSignalsBlocked&) = delete;

 private:
  const int m_errno = errno;
  sigset_t m_signals;
  sigset_t m_former;
};

}  // namespace ara::log::host
