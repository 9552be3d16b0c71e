// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>

namespace bench {

struct SystemCalls {
  int all, syncs;  // syncs: fsync and fdatasync
};

/// The system calls of `call` in a child process that has run it once before, each time after `prepare`.
SystemCalls system_calls_of(const std::function<void()>& prepare, const std::function<void()>& call);

}  // namespace bench
