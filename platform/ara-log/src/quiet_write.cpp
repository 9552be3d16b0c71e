// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "quiet_write.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "write_signals.h"

namespace ara::log::host {

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
