#pragma once

#include <cstddef>

namespace ozk {
namespace tee {

/// Outputs of Botan::AutoSeeded_RNG between two reseedings.
constexpr std::size_t kReseedInterval = 1024;

}  // namespace tee
}  // namespace ozk
