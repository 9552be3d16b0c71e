// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>

namespace shown_text {

/// The text with each control character as \x and two hexadecimal digits, so that a name from the token
/// can neither begin a line nor control a terminal.
std::string shown(const std::string& text);

/// The name, or '' for an empty one.
std::string quoted_if_empty(const std::string& name);

/// At most so many bytes, in whole UTF-8 characters; a longer text ends with "...".
std::string shortened(const std::string& text, std::size_t longest);

/// "1 root", "2 roots".
std::string counted(std::size_t count, const std::string& noun);

}  // namespace shown_text
