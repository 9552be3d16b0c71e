// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "server.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "commands.h"

namespace provisioning {
namespace {

void make_server_certificate() {
  write_file("server.ext", std::string("subjectAltName=DNS:localhost\nextendedKeyUsage=serverAuth\n"));
  run("openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout server.key -out server.csr "
      "-subj /CN=localhost");
  run("openssl x509 -req -in server.csr -CA root.pem -CAkey root.key -days 30 -extfile server.ext -out "
      "server.pem");
}

[[noreturn]] void become_server() {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int nothing = ::open("/dev/null", O_RDONLY);
  const int log = ::open("server.log", O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::dup2(nothing, STDIN_FILENO);
  ::dup2(log, STDOUT_FILENO);
  ::dup2(log, STDERR_FILENO);
  ::execlp("openssl", "openssl", "s_server", "-accept", "127.0.0.1:0", "-www", "-Verify", "2",
           "-verify_return_error", "-CAfile", "root.pem", "-cert", "server.pem", "-key", "server.key",
           static_cast<char*>(nullptr));
  ::_exit(127);
}

// The server says on which port it accepts; empty as long as it has not.
std::string port_in(const std::string& log) {
  const std::string mark = "ACCEPT 127.0.0.1:";
  const std::size_t at = log.find(mark);
  const std::size_t end = log.find('\n', at);
  return at == std::string::npos || end == std::string::npos
             ? std::string()
             : log.substr(at + mark.size(), end - at - mark.size());
}

}  // namespace

Server::Server() {
  make_server_certificate();
  write_file("server.log", std::string());
  m_process = ::fork();
  if (m_process == 0) {
    become_server();
  }
  for (int tries = 0; m_process > 0 && m_port.empty() && tries < 500; ++tries) {
    ::usleep(10 * 1000);
    m_port = port_in(read_file("server.log"));
  }
  if (m_port.empty()) {
    stop();
    throw std::runtime_error("openssl s_server does not start: " + read_file("server.log"));
  }
}

Server::~Server() { stop(); }

void Server::stop() const {
  if (m_process > 0) {
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
  }
}

}  // namespace provisioning
