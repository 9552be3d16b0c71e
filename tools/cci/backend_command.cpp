// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "backend_command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include "failure.h"

namespace cci {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr std::size_t kLongestAnswer = std::size_t{16} << 20;
constexpr int kSliceMilliseconds = 100;  // the end of the command is noticed within this time
constexpr timespec kGrace = {0, 300'000'000};

/// The process group of the command that runs; 0: none.
volatile std::sig_atomic_t g_group = 0;

/// What a signal's handler writes while the command runs; null in other processes.
const std::string* volatile g_on_interrupt = nullptr;

void end_by(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void end_group() {
  ::kill(-g_group, SIGTERM);
  ::nanosleep(&kGrace, nullptr);
  ::kill(-g_group, SIGKILL);
}

// A signal handler: calls async-signal-safe functions only.
void end_with_command(int signal) {
  if (g_on_interrupt != nullptr &&
      ::write(STDERR_FILENO, g_on_interrupt->data(), g_on_interrupt->size()) < 0) {
    // stderr is closed
  }
  if (g_group != 0) end_group();
  end_by(signal);
}

void handle_signals() {
  for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
    // An ignored signal, as after nohup, stays ignored.
    if (std::signal(signal, end_with_command) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

void require(bool succeeded) {
  if (!succeeded) {
    throw Failure(Exit::kBackendFailed, std::string("cannot start the command: ") + std::strerror(errno));
  }
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// Not a pipe, which would block when the command does not read all of its input.
File file_with(const std::string& bytes) {
  File file(std::tmpfile(), std::fclose);
  require(file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
          std::fseek(file.get(), 0, SEEK_SET) == 0);
  return file;
}

/// Requests the signal for the calling process when its parent ends.
void end_with(pid_t parent, int signal) {
  ::prctl(PR_SET_PDEATHSIG, signal);
  if (::getppid() != parent) ::raise(signal);
}

/// A shell command in a session, and so a process group, of its own.
class Process {
 public:
  explicit Process(const BackendCommand& backend) {
    const File input = file_with(backend.input);
    int ends[2];
    require(::pipe2(ends, O_CLOEXEC) == 0);
    handle_signals();
    const pid_t parent = ::getpid();
    m_id = ::fork();
    if (m_id == 0) execute(parent, backend.command.c_str(), ::fileno(input.get()), ends[1]);
    require(m_id > 0);
    g_on_interrupt = &backend.on_interrupt;
    g_group = m_id;
    ::close(ends[1]);
    m_output.fd = ends[0];
  }
  ~Process() {
    if (has_ended()) {
      ::kill(-m_id, SIGKILL);  // processes that it left
    } else {
      end_group();
    }
    g_on_interrupt = nullptr;
    g_group = 0;
    ::waitpid(m_id, nullptr, 0);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Does not reap the process: its id cannot be reused before the destructor does.
  bool has_ended() {
    return ::waitid(P_PID, static_cast<id_t>(m_id), &m_end, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           m_end.si_pid == m_id;
  }

  /// Appends the output that is there or comes within the time.
  void read(std::string& answer, int milliseconds) {
    for (; ::poll(&m_output, 1, milliseconds) > 0; milliseconds = 0) {
      char part[65536];
      const ssize_t count = ::read(m_output.fd, part, sizeof part);
      if (count <= 0) {
        ::close(m_output.fd);
        m_output.fd = -1;  // poll ignores it
        return;
      }
      answer.append(part, static_cast<std::size_t>(count));
      if (answer.size() > kLongestAnswer) {
        throw Failure(Exit::kBackendFailed, "the command wrote more than 16 MiB");
      }
    }
  }

  /// Only after has_ended() was true.
  void require_success() const {
    const std::string number = std::to_string(m_end.si_status);
    if (m_end.si_code != CLD_EXITED) {
      throw Failure(Exit::kBackendFailed,
                    "the command was ended by signal " + number + " (" + ::strsignal(m_end.si_status) + ")");
    }
    if (m_end.si_status != 0) {
      throw Failure(Exit::kBackendFailed, "the command ended with exit code " + number);
    }
  }

 private:
  // This process waits for the shell, and ends the group when the program gets SIGKILL.
  [[noreturn]] static void execute(pid_t parent, const char* command, int input, int output) {
    g_group = ::setsid();
    std::signal(SIGTERM, [](int) {});  // end_group is for the shell
    std::signal(SIGUSR1, end_with_command);
    end_with(parent, SIGUSR1);
    const pid_t shell = ::fork();
    if (shell == 0) run_shell(command, input, output);
    int status = -1;
    ::waitpid(shell, &status, 0);
    if (WIFSIGNALED(status)) end_by(WTERMSIG(status));
    ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : 127);
  }

  [[noreturn]] static void run_shell(const char* command, int input, int output) {
    end_with(g_group, SIGKILL);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    std::signal(SIGPIPE, SIG_DFL);
    ::execl("/bin/sh", "sh", "-c", command, nullptr);
    ::_exit(127);
  }

  pid_t m_id = -1;
  pollfd m_output = {-1, POLLIN, 0};
  siginfo_t m_end = {};
};

}  // namespace

std::string answer_of_command(const BackendCommand& backend, const std::function<void(seconds)>& waiting) {
  Process process(backend);
  std::string answer;
  const auto start = Clock::now();
  seconds reported{-1};
  // Checks for the end before it reads: the output is then complete in the pipe.
  for (bool ended = false; !ended;) {
    ended = process.has_ended();
    process.read(answer, ended ? 0 : kSliceMilliseconds);
    const auto passed = std::chrono::duration_cast<seconds>(Clock::now() - start);
    if (!ended && passed >= backend.timeout) {
      throw Failure(Exit::kBackendFailed, "no answer within " + std::to_string(backend.timeout.count()) +
                                              " s (--timeout sets more)");
    }
    if (passed > reported) waiting(reported = passed);
  }
  process.require_success();
  return answer;
}

}  // namespace cci
