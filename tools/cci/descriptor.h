// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <unistd.h>

#include <utility>

namespace cci {

/// Owns an open file. Negative: none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : m_number(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_number, other.m_number);
    return *this;
  }

  int get() const { return m_number; }
  bool is_open() const { return m_number >= 0; }
  void close() {
    if (is_open()) ::close(m_number);
    m_number = -1;
  }

 private:
  int m_number;
};

}  // namespace cci
