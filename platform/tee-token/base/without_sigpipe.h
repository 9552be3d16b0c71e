// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <pthread.h>
#include <signal.h>

#include <ctime>

namespace tee_token {

/// Blocks SIGPIPE in this thread while it exists, and takes the one that a write has caused: that nobody
/// reads must not end the program.
class WithoutSigpipe {
 public:
  WithoutSigpipe() {
    sigset_t pending;
    ::sigpending(&pending);
    m_was_pending = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&m_sigpipe);
    ::sigaddset(&m_sigpipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &m_sigpipe, &m_mask);
  }
  ~WithoutSigpipe() {
    const timespec now = {};
    if (!m_was_pending) {
      ::sigtimedwait(&m_sigpipe, nullptr, &now);
    }
    ::pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
  }
  WithoutSigpipe(const WithoutSigpipe&) = delete;
  WithoutSigpipe& operator=(const WithoutSigpipe&) = delete;

 private:
  sigset_t m_sigpipe, m_mask;
  bool m_was_pending;
};

}  // namespace tee_token
