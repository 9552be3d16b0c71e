#include "quiet_write.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace ara::log::host {

namespace {

/// Keeps from this thread, while it lives, the signals that a failed write raises in it.
class WriteSignalsHeldBack {
 public:
  WriteSignalsHeldBack() noexcept {
    sigemptyset(&m_signals);
    sigset_t pending;
    sigpending(&pending);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      // One that is pending already is the program's own.
      if (sigismember(&pending, signal) == 0) sigaddset(&m_signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &m_signals, &m_former);
  }

  ~WriteSignalsHeldBack() {
    const timespec no_wait{};
    while (sigtimedwait(&m_signals, nullptr, &no_wait) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
  }

  WriteSignalsHeldBack(const WriteSignalsHeldBack&) = delete;
  WriteSignalsHeldBack& operator=(const WriteSignalsHeldBack&) = delete;

 private:
  sigset_t m_signals;
  sigset_t m_former;
};

}  // namespace

Written QuietWrite(int descriptor, std::string_view bytes) noexcept {
  const WriteSignalsHeldBack held_back;
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
    if (count > 0) {
      done += static_cast<std::size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      return done == 0 ? Written::kNothing : Written::kPart;
    }
  }
  return Written::kAll;
}

}  // namespace ara::log::host
