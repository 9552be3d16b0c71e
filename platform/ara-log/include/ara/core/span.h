// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

namespace ara {
namespace core {

/// A byte of memory, neither a number nor a character.
enum class Byte : unsigned char {};

/// Consecutive elements that someone else owns: a pointer and a count.
template <typename T>
class Span final {
 public:
  constexpr Span() noexcept = default;
  constexpr Span(T* first, std::size_t count) noexcept : m_data(first), m_size(count) {}

  template <std::size_t N>
  constexpr Span(T (&array)[N]) noexcept : Span(array, N) {}

  /// Anything with data() and size(): a vector, an array, a span of elements that are not const.
  template <typename Container,
            typename Element = std::remove_pointer_t<decltype(std::declval<Container&>().data())>,
            typename = std::enable_if_t<std::is_convertible<Element (*)[], T (*)[]>::value>>
  constexpr Span(Container&& container) noexcept : Span(container.data(), container.size()) {}

  constexpr T* data() const noexcept { return m_data; }
  constexpr std::size_t size() const noexcept { return m_size; }
  constexpr T* begin() const noexcept { return m_data; }
  constexpr T* end() const noexcept { return m_data + m_size; }

 private:
  T* m_data = nullptr;
  std::size_t m_size = 0;
};

}  // namespace core
}  // namespace ara
