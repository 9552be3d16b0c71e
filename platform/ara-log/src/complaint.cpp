// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "complaint.h"

#include <unistd.h>

#include <string>

#include "quiet_write.h"
#include "text_line.h"

namespace ara::log::host {

void Complain(std::string_view message) {
  QuietWrite(STDERR_FILENO, "ara-log: " + OnOneLine(message) + '\n');
}

}  // namespace ara::log::host
