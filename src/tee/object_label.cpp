// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/object_label.h"

namespace ozk {
namespace tee {

Botan::secure_vector<std::uint8_t> labelFromText(const std::string& text) {
  const std::size_t separator = text.find('_');
  if (separator == std::string::npos) {
    return {};
  }
  const auto group = static_cast<std::uint32_t>(std::stoi(text.substr(0, separator)));
  const auto index = static_cast<std::uint32_t>(std::stoi(text.substr(separator + 1)));
  return {static_cast<std::uint8_t>(group), static_cast<std::uint8_t>(index),
          static_cast<std::uint8_t>(index >> 8), static_cast<std::uint8_t>(index >> 16),
          static_cast<std::uint8_t>(index >> 24)};
}

}  // namespace tee
}  // namespace ozk
