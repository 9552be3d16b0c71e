// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <string>

namespace provisioning {

/// The backend's TLS server on a free port of this machine: openssl s_server, which wants a client
/// certificate that leads to root.pem and answers with what it saw of the client.
class Server {
 public:
  /// Makes server.key and server.pem, certified by root.pem and root.key, and starts the server. Its log is
  /// server.log.
  Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  const std::string& port() const { return m_port; }

 private:
  void stop() const;

  pid_t m_process = -1;
  std::string m_port;
};

}  // namespace provisioning
