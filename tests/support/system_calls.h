// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace test_support {

/// A call by which this process used a file or a folder.
struct SystemCall {
  /// "open", "pwrite", ..., without any "64"; "create" is an open that makes a file, "stat" also fstatat.
  std::string function;
  std::string path;
  int file = -1;  ///< the number of the open file that it writes to
  bool failed = false;

  bool is_write() const { return function == "write" || function == "pwrite"; }
  /// Of a file's content, or of the names in a folder.
  bool is_change() const;
};

enum class Fault {
  kNone,
  kDeath,      ///< the process ends, as by SIGKILL, before the call
  kTornDeath,  ///< the same, after half of what the call writes
  kFailure,    ///< the call fails and does nothing
  kFull,       ///< it fails, and so does each change that follows: the disk is full
};

/// What happens at the `nth` call, from 1; a failure has this errno.
struct Interruption {
  Fault fault = Fault::kNone;
  std::size_t nth = 1;
  int error = 0;
};

/// Records the calls of this process on files in `folder`, and interferes with them, until `stop_watching`.
/// It stands between all libraries of the process and libc: link it before them. For one thread.
void watch_system_calls(const std::string& folder, const Interruption& interruption = {});

std::vector<SystemCall> stop_watching();

}  // namespace test_support
