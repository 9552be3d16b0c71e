// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string_view>

namespace ara::log::host {

/// Says on stderr, in one line, what the library itself has to say to the one who runs the program.
void Complain(std::string_view message);

}  // namespace ara::log::host
