// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "signal_watch.h"

namespace cci {
namespace {

volatile sig_atomic_t g_caught = 0;

void remember(int signal) { g_caught = signal; }

}  // namespace

SignalWatch::SignalWatch() {
  g_caught = 0;
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    ::sigaction(kSignals[i], nullptr, &m_before[i]);
    struct sigaction watched = {};
    watched.sa_handler = remember;
    // What is ignored, as after nohup, stays so.
    if (m_before[i].sa_handler != SIG_IGN) ::sigaction(kSignals[i], &watched, nullptr);
  }
}

SignalWatch::~SignalWatch() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) ::sigaction(kSignals[i], &m_before[i], nullptr);
}

void SignalWatch::throw_if_caught() const {
  if (g_caught != 0) throw Interrupted(g_caught);
}

}  // namespace cci
