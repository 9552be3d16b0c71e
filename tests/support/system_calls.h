// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace test_support {

/// A call by which this process used a file or a folder.
struct SystemCall {
  std::string function;  ///< "open", "pwrite", ..., without any "64"
  std::string path;
  std::string new_path = {};  ///< of a rename
  bool creates = false;       ///< of an open: the file was not there
  off_t offset = 0;           ///< of a write; the new length of a truncation
  std::string data = {};      ///< of a write
  bool failed = false;
};

enum class Fault {
  kNone,
  kDeath,      ///< the process ends, as SIGKILL does, before the call
  kTornDeath,  ///< the same, after half of what the call writes
  kFailure,    ///< the call fails and does nothing
  kFailures,   ///< and so does each that follows, but for locks
  kReadOnly,   ///< each that would write or make a file fails, from the first on
};

/// What is to happen at the `nth` call, from 1; a failure has this errno.
struct Interruption {
  Fault fault = Fault::kNone;
  std::size_t nth = 1;
  int error = 0;
};

/// Records the calls of this process on what is in `folder`, and interferes with them, until
/// `stop_watching`. It stands between all libraries of the process and libc: link it before them.
/// For one thread.
void watch_system_calls(const std::string& folder, const Interruption& interruption = {});

/// The calls so far.
const std::vector<SystemCall>& system_calls();
std::vector<SystemCall> stop_watching();

}  // namespace test_support
