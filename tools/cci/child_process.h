// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <string>

#include "descriptor.h"

namespace cci {

/// A shell command with pipes for its stdin and stdout, which do not block here. It leads a session, and so
/// a process group, of its own: without a terminal it cannot stop to ask there.
class ChildProcess {
 public:
  /// Throws a Failure of class kBackendFailed.
  explicit ChildProcess(const std::string& command);
  ~ChildProcess() { end(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  int input() const { return m_input.get(); }
  int output() const { return m_output.get(); }
  void close_input() { m_input.close(); }
  void close_output() { m_output.close(); }

  bool has_ended() const;

  /// Ends the process group: politely first, and after half a second by force. Returns the command's status
  /// as waitpid does.
  int end();

 private:
  pid_t m_id = -1;  // after end(): -1
  int m_status = 0;
  Descriptor m_input, m_output;
};

}  // namespace cci
