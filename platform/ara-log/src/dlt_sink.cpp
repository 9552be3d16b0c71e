// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "dlt_sink.h"

#include <dlt/dlt.h>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "complaint.h"
#include "dlt_message.h"
#include "write_signals.h"

namespace ara::log::host {

namespace {

constexpr std::uint32_t kPatienceAtExit = 200;  // ms
constexpr int kMostPatience = 10;               // times as long, while the daemon takes something
constexpr std::chrono::seconds kBetweenTries{1};

/// Undoes what libdlt's initialisation does to the process: it ignores SIGPIPE, and its threads would take
/// the program's signals.
class SignalsUntouched {
 public:
  SignalsUntouched() noexcept {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_mask);
    sigaction(SIGPIPE, nullptr, &m_action);
  }
  ~SignalsUntouched() {
    sigaction(SIGPIPE, &m_action, nullptr);
    pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
  }

  SignalsUntouched(const SignalsUntouched&) = delete;
  SignalsUntouched& operator=(const SignalsUntouched&) = delete;

 private:
  sigset_t m_mask;
  struct sigaction m_action;
};

/// How much waits in libdlt's buffer: records, and what libdlt itself has to say to the daemon.
int BytesWaiting() {
  int total = 0;
  int used = 0;
  return dlt_user_check_buffer(&total, &used) == DLT_RETURN_OK ? used : 0;
}

/// Waits for the daemon as long as it takes something, and returns how many messages are left.
int MessagesLeft() {
  for (int tries = 1;; ++tries) {
    const int before = BytesWaiting();
    const int left = dlt_user_atexit_blow_out_user_buffer();
    if (left == 0 || tries == kMostPatience || BytesWaiting() >= before) return left;
  }
}

/// Finishes a message and returns whether libdlt has sent or kept it. Of other codes than this one it returns
/// several for messages that it has kept. It throws away, with any code, what is too long with its headers.
bool IsTaken(DltContextData& message) {
  constexpr std::int32_t kLongest = UINT16_MAX - 26;
  const bool is_too_long = message.size > kLongest;
  return dlt_user_log_write_finish(&message) != DLT_RETURN_BUFFER_FULL && !is_too_long;
}

const char* IdOrDash(const std::string& id) { return id.empty() ? "-" : id.c_str(); }

class DltSink final : public Sink {
 public:
  static DltSink& Instance() {
    // Never destroyed: destructors of other static objects log too, and so do threads that outlive main.
    alignas(DltSink) static unsigned char storage[sizeof(DltSink)];
    static DltSink* const sink = new (storage) DltSink;
    return *sink;
  }

  bool Write(const Record& record) override;

  /// kForked: libdlt is not for the child of a fork; kOver: the process is at its very end.
  enum class State { kClosed, kOpen, kForked, kOver };

  /// Waits a moment for what the daemon has not yet taken, lets libdlt go, and at the very end says on stderr
  /// what is lost.
  void Close(State next) noexcept;

 private:
  bool Open(const std::string& application);
  bool Initialize();
  DltContext& ContextOf(const Record& record);
  bool Send(const Record& record);
  void Recover();
  void Finish();
  void SayWhatIsLost();
  void Forked() noexcept;

  std::mutex m_mutex;
  std::atomic<State> m_state{State::kClosed};
  std::chrono::steady_clock::time_point m_next_try;
  bool m_has_complained = false;
  std::map<std::string, DltContext, std::less<>> m_contexts;
  std::uint64_t m_waiting = 0;  ///< records that are perhaps still in libdlt's buffer
  std::uint64_t m_lost = 0;     ///< records refused, as long as no reader was told
};

/// Made when the library is loaded, so destroyed after what the program makes.
const struct LastClosing {
  ~LastClosing() { DltSink::Instance().Close(DltSink::State::kOver); }
} last_closing;

bool DltSink::Write(const Record& record) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const WriteSignalsHeldBack held_back;
  bool is_taken = m_state == State::kOpen || (m_state == State::kClosed && Open(record.application));
  if (is_taken) {
    if (m_waiting + m_lost > 0 && BytesWaiting() == 0) Recover();
    is_taken = Send(record);
  }
  if (!is_taken) ++m_lost;
  return is_taken;
}

bool DltSink::Open(const std::string& application) {
  const auto now = std::chrono::steady_clock::now();
  if (now < m_next_try) return false;
  if (!Initialize()) {
    m_next_try = now + kBetweenTries;
    return false;
  }
  m_state = State::kOpen;
  dlt_set_resend_timeout_atexit(kPatienceAtExit);
  dlt_register_app(IdOrDash(application), program_invocation_name);
  m_contexts.clear();
  return true;
}

bool DltSink::Initialize() {
  // Before there can be anything to forget.
  static const bool is_fork_seen = pthread_atfork(nullptr, nullptr, [] { Instance().Forked(); }) == 0;
  if (!is_fork_seen) return false;
  const SignalsUntouched untouched;
  dlt_log_set_level(LOG_CRIT);  // what it has to say below that would mix with the program's output
  if (dlt_init() < DLT_RETURN_OK) {
    dlt_free();
    if (!std::exchange(m_has_complained, true)) {
      Complain("DLT cannot be used yet: is there the folder that DLT_PIPE_DIR names (/tmp when not set)?");
    }
    return false;
  }
  // It runs before libdlt's own, which would wait ten seconds and is idle when nothing is open.
  static const bool is_end_seen = std::atexit([] { Instance().Close(State::kClosed); }) == 0;
  return is_end_seen;
}

/// A context goes to the daemon with the level that lets everything pass: the logger's threshold has decided
/// already. Readers may lower it.
DltContext& DltSink::ContextOf(const Record& record) {
  const auto [context, is_new] = m_contexts.try_emplace(record.context);
  if (is_new) {
    const std::string description(record.description.begin(), record.description.end());
    dlt_register_context_ll_ts(&context->second, IdOrDash(record.context), description.c_str(),
                               DLT_LOG_VERBOSE, DLT_TRACE_STATUS_OFF);
  }
  return context->second;
}

bool DltSink::Send(const Record& record) {
  DltContextData message;
  const auto level = static_cast<DltLogLevelType>(record.level);
  const DltReturnValue wanted = dlt_user_log_write_start(&ContextOf(record), &message, level);
  if (wanted == DLT_RETURN_OK || wanted == DLT_RETURN_LOGGING_DISABLED) return true;  // no reader wants it
  if (wanted != DLT_RETURN_TRUE) return false;
  FillMessage(message, record);
  const bool is_taken = IsTaken(message);
  // Also when it has just emptied the buffer: then the next record is the first after the daemon's return.
  if (is_taken && (m_waiting > 0 || BytesWaiting() > 0)) ++m_waiting;
  return is_taken;
}

/// The daemon has taken all that waited for it. One that was away has its own default level for every
/// context, so it is told again; when there is no room to tell it, the next record tries.
void DltSink::Recover() {
  const bool is_told = m_contexts.empty() || dlt_set_application_ll_ts_limit(
                                                 DLT_LOG_VERBOSE, DLT_TRACE_STATUS_OFF) == DLT_RETURN_OK;
  if (!is_told) return;
  m_waiting = 0;
  if (m_lost == 0) return;
  const std::string text = std::to_string(m_lost) + " records before this one are lost, for want of room";
  if (!Send({{}, {}, "ALOG", "ara-log itself", LogLevel::kWarn, text, {}})) return;
  if (m_waiting > 0) m_waiting += m_lost;  // nobody has read it yet
  m_lost = 0;
}

void DltSink::Close(State next) noexcept try {
  std::unique_lock<std::mutex> lock(m_mutex, std::defer_lock);
  const bool is_forked = m_state == State::kForked;
  if (!is_forked) lock.lock();  // in the child of a fork, a thread that is not there may hold it
  const WriteSignalsHeldBack held_back;
  if (m_state == State::kOpen) Finish();
  if (!is_forked) m_state = next;
  if (next == State::kOver && m_lost > 0) SayWhatIsLost();
} catch (...) {
  m_state = next;
}

void DltSink::Finish() {
  const int left = MessagesLeft();
  m_waiting = std::min(m_waiting, static_cast<std::uint64_t>(left));
  if (left == 0) Recover();
  m_lost += m_waiting;
  m_waiting = 0;
  dlt_unregister_app();
  dlt_free();
}

void DltSink::SayWhatIsLost() {
  Complain("DLT: up to " + std::to_string(m_lost) + " records did not reach the daemon; " +
           (m_state == State::kForked ? "the child of a fork cannot log to it"
                                      : "is it running, in the folder of DLT_PIPE_DIR (/tmp when not set)?"));
}

void DltSink::Forked() noexcept {
  if (m_state == State::kOpen) m_state = State::kForked;
  m_waiting = 0;
  m_lost = 0;
}

}  // namespace

std::shared_ptr<Sink> DltSinkOfProcess() { return {std::shared_ptr<Sink>(), &DltSink::Instance()}; }

}  // namespace ara::log::host
