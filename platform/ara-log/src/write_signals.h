// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <signal.h>

namespace ara::log::host {

/// Keeps from this thread, while it lives, the signals that a failed write raises in it.
class WriteSignalsHeldBack {
 public:
  WriteSignalsHeldBack() noexcept;
  ~WriteSignalsHeldBack();

  WriteSignalsHeldBack(const WriteSignalsHeldBack&) = delete;
  WriteSignalsHeldBack& operator=(const WriteSignalsHeldBack&) = delete;

 private:
  sigset_t m_signals;
  sigset_t m_former;
};

}  // namespace ara::log::host
