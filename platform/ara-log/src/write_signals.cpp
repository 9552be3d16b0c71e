// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "write_signals.h"

#include <initializer_list>

namespace ara::log::host {

WriteSignalsHeldBack::WriteSignalsHeldBack() noexcept {
  sigemptyset(&m_signals);
  sigset_t pending;
  sigpending(&pending);
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    // One that is pending already is the program's own.
    if (sigismember(&pending, signal) == 0) sigaddset(&m_signals, signal);
  }
  pthread_sigmask(SIG_BLOCK, &m_signals, &m_former);
}

WriteSignalsHeldBack::~WriteSignalsHeldBack() {
  const timespec no_wait{};
  while (sigtimedwait(&m_signals, nullptr, &no_wait) > 0) {
  }
  pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
}

}  // namespace ara::log::host
