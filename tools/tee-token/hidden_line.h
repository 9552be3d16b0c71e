// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace tee_token_admin {

/// A line of stdin without its end; empty at the end of stdin. A terminal is given the prompt, shows nothing
/// of what is typed, and Ctrl-C there throws UsageError.
std::string hidden_line(const std::string& prompt);

}  // namespace tee_token_admin
