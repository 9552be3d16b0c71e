// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/exceptn.h>

#include <string>

#include "tee_token/vendor_interface.h"

namespace tee_token_admin {

/// Exit codes when a command failed.
constexpr int kFailed = 1, kWrongUsage = 2, kWrongPin = 3, kNoToken = 4, kUnusable = 5;

/// The exit code for a token's return value.
int exit_code_of(CK_RV code);

/// For people: the name of a token's return value, its meaning and what to do.
std::string text_of_error(CK_RV code);

/// The name of the return value for a token's error, else the exception's text.
std::string reason_of(const Botan::Exception& error);

/// Whether the exception means that the object does not exist (another program has destroyed it).
bool is_absence(const Botan::Exception& error);

/// The exit codes for a help text.
std::string help_on_exit_codes();

}  // namespace tee_token_admin
