// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string_view>

namespace ara::log::host {

enum class Written { kAll, kPart, kNothing };

/// Writes bytes to a file descriptor, in one write() as long as the kernel takes them whole. A failure is
/// told by the result alone: no exception, and no signal (SIGPIPE, SIGXFSZ) reaches the process.
Written QuietWrite(int descriptor, std::string_view bytes) noexcept;

}  // namespace ara::log::host
