// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace cci {

/// Has the library's records, all of them, written to stderr, or else nowhere; always also where ARA_LOG_SINK
/// says. For a platform whose log library does not read that variable, it only sets the level. Call it before
/// the library is used.
void direct_records(bool to_stderr);

}  // namespace cci
