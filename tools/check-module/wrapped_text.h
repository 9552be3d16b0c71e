// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>

namespace tee_token_admin {

/// The text in lines of up to `width` characters, broken at blanks; all but the first begin with `indent`
/// blanks, and that is as much shorter.
std::string wrapped(const std::string& text, std::size_t indent, std::size_t width);

}  // namespace tee_token_admin
