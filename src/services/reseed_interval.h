// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>

namespace ozk {
namespace tee {

/// Outputs of Botan::AutoSeeded_RNG between two reseedings.
constexpr std::size_t kReseedInterval = 1024;

}  // namespace tee
}  // namespace ozk
