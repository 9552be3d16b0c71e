// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <signal.h>

#include <cerrno>
#include <initializer_list>

namespace ara::log::host {

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
