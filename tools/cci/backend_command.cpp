// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "backend_command.h"

#include <poll.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>

#include "child_process.h"
#include "failure.h"
#include "signal_watch.h"

namespace cci {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr std::size_t kLongestAnswer = std::size_t{16} << 20;
// Within this, an end of the command and a signal are seen.
constexpr int kSliceMilliseconds = 100;

/// One run of a command: feeds it, reads it, and looks after its time.
class Conversation {
 public:
  explicit Conversation(const BackendCommand& backend)
      : m_backend(backend), m_process(backend.command), m_start(Clock::now()) {}

  std::string run(const std::function<void(seconds)>& waiting) {
    seconds told{-1};
    // What was written before the end is in the pipe: so look at the end first and then at the pipe.
    for (bool ended = false; !ended;) {
      ended = m_process.has_ended();
      exchange(ended ? 0 : kSliceMilliseconds);
      if (!ended) require_time();
      if (passed() > told) waiting(told = passed());
    }
    const int status = m_process.end();
    m_signals.throw_if_caught();
    require_success(status);
    return std::move(m_answer);
  }

 private:
  seconds passed() const { return std::chrono::duration_cast<seconds>(Clock::now() - m_start); }

  void require_time() {
    m_signals.throw_if_caught();
    if (Clock::now() - m_start >= m_backend.timeout) {
      throw Failure(Exit::kBackendFailed, "no answer within " + std::to_string(m_backend.timeout.count()) +
                                              " s (--timeout sets more)");
    }
  }

  void exchange(int milliseconds) {
    pollfd files[] = {{m_process.input(), POLLOUT, 0}, {m_process.output(), POLLIN, 0}};
    if (::poll(files, 2, milliseconds) <= 0) return;
    if (files[0].revents != 0) feed();
    if (files[1].revents != 0) read();
  }

  // A command that does not want all of its input is not wrong.
  void feed() {
    const ssize_t count =
        ::write(m_process.input(), m_backend.input.data() + m_fed, m_backend.input.size() - m_fed);
    if (count > 0) m_fed += static_cast<std::size_t>(count);
    if ((count < 0 && errno != EAGAIN) || m_fed == m_backend.input.size()) m_process.close_input();
  }

  void read() {
    char part[65536];
    ssize_t count = 0;
    while ((count = ::read(m_process.output(), part, sizeof part)) > 0) {
      m_answer.append(part, static_cast<std::size_t>(count));
      if (m_answer.size() > kLongestAnswer) {
        throw Failure(Exit::kBackendFailed, "the command wrote more than 16 MiB");
      }
    }
    if (count == 0) m_process.close_output();
  }

  static void require_success(int status) {
    if (WIFSIGNALED(status)) {
      const int number = WTERMSIG(status);
      throw Failure(Exit::kBackendFailed, "the command was ended by signal " + std::to_string(number) + " (" +
                                              ::strsignal(number) + ")");
    }
    if (WEXITSTATUS(status) != 0) {
      throw Failure(Exit::kBackendFailed,
                    "the command ended with exit code " + std::to_string(WEXITSTATUS(status)));
    }
  }

  const BackendCommand& m_backend;
  SignalWatch m_signals;
  ChildProcess m_process;
  Clock::time_point m_start;
  std::string m_answer;
  std::size_t m_fed = 0;
};

}  // namespace

std::string answer_of_command(const BackendCommand& backend, const std::function<void(seconds)>& waiting) {
  return Conversation(backend).run(waiting);
}

}  // namespace cci
