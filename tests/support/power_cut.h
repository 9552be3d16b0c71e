// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <vector>

#include "support/system_calls.h"
#include "support/token_snapshot.h"

namespace test_support {

/// Which of the changes that were not synced a power cut takes with it. Names are what folders hold: a file
/// that is made, renamed or removed.
enum class Lost { kNothing, kAll, kContents, kNames, kSome };

/// What is in a folder that held `before`, when the power goes after the first `count` calls. A sync keeps
/// what was written to its file, or the names in its folder, until then; a system that keeps more hides
/// faults. `seed` chooses when some are lost: of writes each is kept, halved or lost, of names a first part
/// is kept.
TokenSnapshot after_power_cut(const TokenSnapshot& before, const std::vector<SystemCall>& calls,
                              std::size_t count, Lost lost, unsigned seed = 0);

}  // namespace test_support
