// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace ara {
namespace core {

/// A text that someone else owns: a pointer and a length in bytes; not zero-terminated.
/// It is the same class in every C++ standard, so that code of each links with the same library.
class StringView final {
 public:
  constexpr StringView() noexcept = default;
  constexpr StringView(const char* text, std::size_t size) noexcept
      : m_data(text == nullptr ? "" : text), m_size(text == nullptr ? 0 : size) {}
  /// A null pointer is the empty text.
  StringView(const char* text) noexcept : StringView(text, text == nullptr ? 0 : std::strlen(text)) {}
  StringView(const std::string& text) noexcept : StringView(text.data(), text.size()) {}

  /// Never null.
  constexpr const char* data() const noexcept { return m_data; }
  constexpr std::size_t size() const noexcept { return m_size; }
  constexpr const char* begin() const noexcept { return m_data; }
  constexpr const char* end() const noexcept { return m_data + m_size; }

 private:
  const char* m_data = "";
  std::size_t m_size = 0;
};

}  // namespace core
}  // namespace ara
