// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <string_view>

namespace ara::log::host {

/// Returns an id as DLT carries it: at most four bytes, no character cut in two.
std::string ShortId(std::string_view id);

/// The same, and says on stderr if it had to cut; `what` names the id there.
std::string ShortIdOf(std::string_view what, std::string_view id);

}  // namespace ara::log::host
