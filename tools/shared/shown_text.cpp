// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/shown_text.h"

namespace shown_text {
namespace {

/// Whether the byte is an ASCII control character, or in UTF-8 the second byte of U+0080 to U+009F.
bool is_control(unsigned char before, unsigned char byte) {
  return byte < 0x20 || byte == 0x7F || (before == 0xC2 && byte >= 0x80 && byte < 0xA0);
}

}  // namespace

std::string shown(const std::string& text) {
  static const char kDigits[] = "0123456789abcdef";
  std::string result;
  unsigned char before = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (is_control(before, byte)) {
      result += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
    } else {
      result += character;
    }
    before = byte;
  }
  return result;
}

std::string quoted_if_empty(const std::string& name) { return name.empty() ? "''" : name; }

std::string shortened(const std::string& text, std::size_t longest) {
  if (text.size() <= longest) return text;
  std::size_t end = longest - 3;
  while (end > 0 && (text[end] & 0xC0) == 0x80) --end;
  return text.substr(0, end) + "...";
}

std::string counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace shown_text
