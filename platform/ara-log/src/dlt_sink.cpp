// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "sinks.h"

#include <dlt/dlt.h>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

namespace ara::log::host {

namespace {

constexpr std::uint32_t kWaitAtExit = 200;  // ms
constexpr int kMostWaits = 10;              // while the daemon still takes records
constexpr std::chrono::seconds kBetweenTries{1};

/// Initialises libdlt. Restores the program's handling of SIGPIPE, which libdlt sets to be ignored, and
/// blocks all signals in libdlt's threads.
bool InitializeLibrary() {
  sigset_t all;
  sigset_t mask;
  struct sigaction action;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &mask);
  sigaction(SIGPIPE, nullptr, &action);
  dlt_log_set_level(LOG_CRIT);  // keeps other messages of libdlt out of the program's output
  const bool is_ready = dlt_init() >= DLT_RETURN_OK;
  if (!is_ready) dlt_free();
  sigaction(SIGPIPE, &action, nullptr);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  return is_ready;
}

/// The bytes in libdlt's buffer: records and libdlt's own messages to the daemon.
int BytesWaiting() {
  int total = 0;
  int used = 0;
  return dlt_user_check_buffer(&total, &used) == DLT_RETURN_OK ? used : 0;
}

/// Waits while the daemon takes records, and returns how many messages are left.
int MessagesLeft() {
  for (int waits = 1;; ++waits) {
    const int before = BytesWaiting();
    const int left = dlt_user_atexit_blow_out_user_buffer();
    if (left == 0 || waits == kMostWaits || BytesWaiting() >= before) return left;
  }
}

class DltSink final : public Sink {
 public:
  DltSink();
  bool Write(const Record& record) override;

  /// Waits for the daemon (see kWaitAtExit), releases libdlt and reports how many records are lost.
  void Close();

 private:
  /// kEnded: at the end of the process, and in a forked child, where libdlt cannot be used.
  enum class State { kClosed, kOpen, kEnded };

  bool Open(const std::string& application);
  DltContext& ContextOf(const Record& record);
  bool Send(const Record& record);
  void Resume();
  void Forked();

  std::mutex m_mutex;
  State m_state = State::kClosed;
  std::chrono::steady_clock::time_point m_next_try;
  bool m_has_complained = false;
  std::map<std::string, DltContext> m_contexts;
  std::uint64_t m_waiting = 0;  ///< records that may still be in libdlt's buffer
  std::uint64_t m_lost = 0;     ///< records that libdlt refused and that are not yet reported
  TextSink m_console{STDERR_FILENO};
};

DltSink& Instance() {
  // Never destroyed: destructors of other static objects log too.
  static auto* const sink = new DltSink;
  return *sink;
}

void CloseInstance() { Instance().Close(); }

DltSink::DltSink() {
  std::atexit(CloseInstance);
  pthread_atfork(nullptr, nullptr, [] { Instance().Forked(); });
}

bool DltSink::Write(const Record& record) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_state == State::kEnded) return m_console.Write(record);
  bool is_taken = m_state == State::kOpen || Open(record.application);
  if (is_taken) {
    if (m_waiting + m_lost > 0 && BytesWaiting() == 0) Resume();
    is_taken = Send(record);
  }
  if (!is_taken) ++m_lost;
  return is_taken;
}

bool DltSink::Open(const std::string& application) {
  const auto now = std::chrono::steady_clock::now();
  if (now < m_next_try) return false;
  m_next_try = now + kBetweenTries;
  if (!InitializeLibrary()) {
    if (!m_has_complained) Complain("DLT cannot be used yet: does the folder in DLT_PIPE_DIR exist?");
    m_has_complained = true;
    return false;
  }
  std::atexit(CloseInstance);  // again, to run before libdlt's exit handler, which may wait for ten seconds
  m_state = State::kOpen;
  dlt_set_resend_timeout_atexit(kWaitAtExit);
  dlt_register_app(application.c_str(), program_invocation_name);
  return true;
}

/// Registers a new context, with the level for all records: the logger has applied its threshold already.
/// Readers may lower the level.
DltContext& DltSink::ContextOf(const Record& record) {
  const auto [context, is_new] = m_contexts.try_emplace(record.context);
  if (is_new) {
    const std::string description(record.description.begin(), record.description.end());
    dlt_register_context_ll_ts(&context->second, record.context.c_str(), description.c_str(), DLT_LOG_VERBOSE,
                               DLT_TRACE_STATUS_OFF);
  }
  return context->second;
}

/// Returns whether libdlt has sent or kept the record, or no reader wants it.
bool DltSink::Send(const Record& record) {
  DltContextData message;
  const auto level = static_cast<DltLogLevelType>(record.level);
  const DltReturnValue wanted = dlt_user_log_write_start(&ContextOf(record), &message, level);
  if (wanted == DLT_RETURN_OK || wanted == DLT_RETURN_LOGGING_DISABLED) return true;
  if (wanted != DLT_RETURN_TRUE) return false;
  // libdlt's length has 16 bits and includes a zero byte. It cuts a text that is too long and marks the cut.
  const auto size = std::min<std::size_t>(record.text.size(), UINT16_MAX - 1);
  dlt_user_log_write_sized_utf8_string(&message, record.text.data(), static_cast<std::uint16_t>(size));
  // libdlt returns other error codes also for messages that it has kept.
  if (dlt_user_log_write_finish(&message) == DLT_RETURN_BUFFER_FULL) return false;
  // Counted even if this record has just emptied the buffer: the next Write then calls Resume.
  if (m_waiting > 0 || BytesWaiting() > 0) ++m_waiting;
  return true;
}

/// Called when the buffer is empty again. A daemon that was restarted has its own default level for each
/// context, so the level is sent again; if the buffer has no room for that, the next record tries again.
void DltSink::Resume() {
  const bool is_sent = m_contexts.empty() || dlt_set_application_ll_ts_limit(
                                                 DLT_LOG_VERBOSE, DLT_TRACE_STATUS_OFF) == DLT_RETURN_OK;
  if (!is_sent) return;
  m_waiting = 0;
  if (m_lost == 0) return;
  const std::string text = std::to_string(m_lost) + " records before this one are lost: the buffer was full";
  if (!Send({{}, {}, "ALOG", "the log library itself", LogLevel::kWarn, text})) return;
  if (m_waiting > 0) m_waiting += m_lost;  // the record that reports them is in the buffer, too
  m_lost = 0;
}

void DltSink::Close() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const WriteSignalsBlocked blocked;
  if (m_state == State::kOpen) {
    const int left = MessagesLeft();
    m_waiting = std::min(m_waiting, static_cast<std::uint64_t>(left));
    if (left == 0) Resume();
    m_lost += m_waiting;
    dlt_unregister_app();
    dlt_free();
  }
  m_state = State::kEnded;
  if (m_lost > 0) {
    Complain("DLT: up to " + std::to_string(m_lost) +
             " records did not reach the daemon; is it running, with the same DLT_PIPE_DIR?");
  }
  m_lost = 0;
}

void DltSink::Forked() {
  if (m_state == State::kOpen) m_state = State::kEnded;
  m_waiting = 0;
  m_lost = 0;
}

}  // namespace

std::shared_ptr<Sink> DltSinkOfProcess() { return {std::shared_ptr<Sink>(), &Instance()}; }

}  // namespace ara::log::host
