// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace cci {

/// Puts something in the place of standard files that the caller closed, so that no file of the token gets
/// their numbers, makes a reader that went away an error instead of a signal, and has the ends of children
/// seen, whatever the caller ignores.
void secure_standard_files();

}  // namespace cci
