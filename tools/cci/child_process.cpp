// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

#include "failure.h"

namespace cci {
namespace {

constexpr int kPoliteRounds = 50;
constexpr timespec kRound = {0, 10'000'000};

void require(int error) {
  if (error != 0) {
    throw Failure(Exit::kBackendFailed, std::string("cannot start the command: ") + std::strerror(error));
  }
}

struct Pipe {
  Pipe() {
    int ends[2];
    require(::pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno);
    to_read = Descriptor(ends[0]);
    to_write = Descriptor(ends[1]);
  }
  Descriptor to_read, to_write;
};

void do_not_block(const Descriptor& file) {
  require(::fcntl(file.get(), F_SETFL, O_NONBLOCK) == 0 ? 0 : errno);
}

class SpawnAttributes {
 public:
  SpawnAttributes() {
    require(::posix_spawnattr_init(&m_attributes));
    // What this program ignores, its children would, too.
    sigset_t ignored, none;
    sigemptyset(&none);
    sigemptyset(&ignored);
    sigaddset(&ignored, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&m_attributes, &ignored);
    ::posix_spawnattr_setsigmask(&m_attributes, &none);
    ::posix_spawnattr_setflags(&m_attributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&m_attributes); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &m_attributes; }

 private:
  posix_spawnattr_t m_attributes{};
};

class SpawnFiles {
 public:
  SpawnFiles(int in, int out) {
    require(::posix_spawn_file_actions_init(&m_actions));
    ::posix_spawn_file_actions_adddup2(&m_actions, in, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&m_actions, out, STDOUT_FILENO);
  }
  ~SpawnFiles() { ::posix_spawn_file_actions_destroy(&m_actions); }
  SpawnFiles(const SpawnFiles&) = delete;
  SpawnFiles& operator=(const SpawnFiles&) = delete;

  const posix_spawn_file_actions_t* get() const { return &m_actions; }

 private:
  posix_spawn_file_actions_t m_actions{};
};

}  // namespace

ChildProcess::ChildProcess(const std::string& command) {
  Pipe in, out;
  do_not_block(in.to_write);
  do_not_block(out.to_read);
  const SpawnFiles files(in.to_read.get(), out.to_write.get());
  std::string shell = "sh", option = "-c", given = command;
  char* const arguments[] = {shell.data(), option.data(), given.data(), nullptr};
  require(::posix_spawn(&m_id, "/bin/sh", files.get(), SpawnAttributes().get(), arguments, environ));
  m_input = std::move(in.to_write);
  m_output = std::move(out.to_read);
}

// It is not waited for yet: until end(), nobody else can get its number.
bool ChildProcess::has_ended() const {
  siginfo_t info = {};
  return ::waitid(P_PID, static_cast<id_t>(m_id), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == m_id;
}

int ChildProcess::end() {
  if (m_id < 0) return m_status;
  if (!has_ended()) ::kill(-m_id, SIGTERM);
  for (int round = 0; round < kPoliteRounds && !has_ended(); ++round) ::nanosleep(&kRound, nullptr);
  ::kill(-m_id, SIGKILL);
  while (::waitpid(m_id, &m_status, 0) < 0 && errno == EINTR) {
  }
  m_id = -1;
  return m_status;
}

}  // namespace cci
