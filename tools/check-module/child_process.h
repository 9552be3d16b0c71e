// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

namespace tee_token_admin {

/// A process that runs one task and ends. A socket connects it with this process, and it is killed when this
/// one dies. What it writes to stdout goes to stderr.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<void(int socket)>& task);
  /// Disconnects and waits for the end of the process.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  int socket() const { return m_sockets[0]; }
  void kill() const;

  /// Waits for the end of the process and returns its cause.
  std::string wait();

 private:
  int m_sockets[2];  // this process's and the child's
  pid_t m_process;
};

/// Sends a message of one byte or more; does nothing when the other process has ended.
void send_message(int socket, const std::string& message);

/// Waits for a message; none when the other process has ended or disconnected.
std::optional<std::string> receive_message(int socket);

}  // namespace tee_token_admin
