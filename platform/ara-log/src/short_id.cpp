// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "short_id.h"

#include <cstddef>

#include "complaint.h"

namespace ara::log::host {

namespace {

constexpr std::size_t kLongest = 4;

bool ContinuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

}  // namespace

std::string ShortId(std::string_view id) {
  if (id.size() <= kLongest) return std::string(id);
  std::size_t size = kLongest;
  while (size > 0 && ContinuesCharacter(id[size])) --size;
  return std::string(id.substr(0, size));
}

std::string ShortIdOf(std::string_view what, std::string_view id) {
  std::string used = ShortId(id);
  if (used != id) {
    Complain(std::string(what) + " '" + std::string(id) + "' is longer than four characters; '" + used +
             "' is used");
  }
  return used;
}

}  // namespace ara::log::host
