// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace provisioning {

/// Makes a self-signed certificate and its key: NAME.pem and NAME.key.
void make_certificate(const std::string& name, const std::string& common_name);

/// Makes a certification authority with the openssl command: root.pem, which signs intermediate.pem.
void make_authority();

/// Certifies a request (DER) for a year; returns the new certificate and the intermediate one (PEM).
std::string certify(const std::string& request_file);

/// The backend's TLS server on a free port of this machine: openssl s_server, which demands a client
/// certificate that leads to root.pem and answers with what it saw of the client. Its log is server.log.
class Server {
 public:
  Server();

  const std::string& port() const { return m_port; }

 private:
  // The server ends when this pipe is closed, also by the end of this process.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_process;
  std::string m_port;
};

}  // namespace provisioning
