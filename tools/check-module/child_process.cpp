// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "child_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

namespace tee_token_admin {
namespace {

// A process group of its own: Ctrl-C reaches the parent alone.
void set_up_child() {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::signal(SIGPIPE, SIG_DFL);
  ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

}  // namespace

ChildProcess::ChildProcess(const std::function<void(int socket)>& task) : m_sockets{}, m_process(-1) {
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, m_sockets) != 0 || (m_process = ::fork()) < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot start a process");
  }
  if (m_process == 0) {
    ::close(m_sockets[0]);
    set_up_child();
    task(m_sockets[1]);
    ::_exit(0);
  }
  ::close(m_sockets[1]);
}

ChildProcess::~ChildProcess() {
  ::close(m_sockets[0]);
  wait();
}

void ChildProcess::kill() const { ::kill(m_process, SIGKILL); }

std::string ChildProcess::wait() {
  int status = 0;
  if (m_process > 0) {
    ::waitpid(m_process, &status, 0);
    m_process = -1;
  }
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    return "died by signal " + std::to_string(signal) + " (" + ::strsignal(signal) + ")";
  }
  return "the module ended the process";
}

void send_message(int socket, const std::string& message) {
  static_cast<void>(::send(socket, message.data(), message.size(), MSG_NOSIGNAL));
}

std::optional<std::string> receive_message(int socket) {
  std::string message(1 << 16, '\0');
  const ssize_t length = ::recv(socket, &message[0], message.size(), 0);
  if (length <= 0) {
    return std::nullopt;
  }
  message.resize(static_cast<std::size_t>(length));
  return message;
}

}  // namespace tee_token_admin
