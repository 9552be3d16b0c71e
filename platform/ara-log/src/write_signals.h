// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <signal.h>

#include <cerrno>
#include <initializer_list>

namespace ara::log::host {

/// While it lives, this thread does not get the signals that a failed write raises, and errno is afterwards
/// what it was before: a broken sink must not harm the caller.
class WriteSignalsBlocked {
 public:
  WriteSignalsBlocked() noexcept {
    sigemptyset(&m_signals);
    sigset_t pending;
    sigpending(&pending);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      // One that is already pending is the program's own.
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
