// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "trial_process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <system_error>

#include "base/file_descriptor.h"

namespace tee_token_admin {
namespace {

using Json = nlohmann::json;

[[noreturn]] void throw_system_error(const char* call) {
  throw std::system_error(errno, std::generic_category(), call);
}

bool is_ignored(int signal) {
  struct sigaction action = {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void write_result(int file, const Judgement& judgement) {
  const std::string text = Json({static_cast<int>(judgement.verdict), judgement.text, judgement.code})
                               .dump(-1, ' ', false, Json::error_handler_t::replace);
  static_cast<void>(::pwrite(file, text.data(), text.size(), 0) + 1);
}

Judgement result_of(int file) {
  std::string text(1 << 16, '\0');
  const ssize_t length = ::pread(file, &text[0], text.size(), 0);
  const Json result =
      Json::parse(text.substr(0, length > 0 ? static_cast<std::size_t>(length) : 0), nullptr, false);
  if (!result.is_array()) {
    return {Verdict::kWrong, "the module ended the process"};
  }
  return {static_cast<Verdict>(result[0].get<int>()), result[1].get<std::string>(), result[2].get<CK_RV>()};
}

Judgement judgement_of(int status, int file) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    return {Verdict::kWrong, "died by signal " + std::to_string(signal) + " (" + ::strsignal(signal) + ")"};
  }
  return result_of(file);
}

/// What the attempt itself started goes, too.
void kill_and_reap(pid_t child) {
  ::kill(-child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

}  // namespace

// What is ignored, as nohup has it for SIGHUP, stays ignored. Without SIGPIPE, a reader of stdout who goes
// does not keep the clean-up from being done.
TrialProcesses::TrialProcesses(std::chrono::seconds limit) : m_limit(limit), m_awaited(), m_before() {
  ::sigemptyset(&m_awaited);
  ::sigaddset(&m_awaited, SIGCHLD);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    if (!is_ignored(signal)) {
      ::sigaddset(&m_awaited, signal);
    }
  }
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  ::sigprocmask(SIG_BLOCK, &m_awaited, &m_before);
}

TrialProcesses::~TrialProcesses() { ::sigprocmask(SIG_SETMASK, &m_before, nullptr); }

Judgement TrialProcesses::run(const std::function<Judgement()>& attempt) const {
  const tee_token::FileDescriptor result(::memfd_create("judgement", MFD_CLOEXEC));
  const pid_t child = ::fork();
  if (result.get() < 0 || child < 0) {
    throw_system_error("a process for a clause");
  }
  if (child == 0) {
    be_the_child(result.get(), attempt);
  }
  ::setpgid(child, child);
  return wait_for(child, result.get());
}

// A process group of its own: Ctrl-C reaches the parent alone, and a kill what the attempt started.
void TrialProcesses::be_the_child(int result, const std::function<Judgement()>& attempt) const {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::sigprocmask(SIG_SETMASK, &m_before, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
  write_result(result, attempt());
  ::_exit(0);
}

Judgement TrialProcesses::wait_for(pid_t child, int result) const {
  const auto deadline = std::chrono::steady_clock::now() + m_limit;
  int status = 0;
  while (::waitpid(child, &status, WNOHANG) == 0) {
    const auto left =
        std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      kill_and_reap(child);
      return {Verdict::kWrong, "no end within " + std::to_string(m_limit.count()) + " s"};
    }
    const timespec wait = {left.count() / 1000000000, left.count() % 1000000000};
    const int signal = ::sigtimedwait(&m_awaited, nullptr, &wait);
    if (signal > 0 && signal != SIGCHLD) {
      kill_and_reap(child);
      throw Interrupted();
    }
  }
  return judgement_of(status, result);
}

}  // namespace tee_token_admin
