// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>

namespace tee_token {

/// Memory for values that may be secret: what is as short as PINs and keys are lies in pages that are not
/// swapped out (as far as RLIMIT_MEMLOCK lets them be locked) and not in core dumps. Throws std::bad_alloc.
void* allocate_secure(std::size_t size);

/// Overwrites the memory and gives it back. `size` is that of the allocation.
void free_secure(void* memory, std::size_t size) noexcept;

/// Locks what is there: a forked child does not inherit the locks.
void lock_secure_memory() noexcept;

}  // namespace tee_token
