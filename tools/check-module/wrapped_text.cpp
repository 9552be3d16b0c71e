// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "wrapped_text.h"

#include <sstream>

namespace tee_token_admin {

std::string wrapped(const std::string& text, std::size_t indent, std::size_t width) {
  std::istringstream words(text);
  std::string result, word;
  for (std::size_t column = indent; words >> word; column += word.size()) {
    if (column > indent && column + 1 + word.size() > width) {
      result += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (column > indent) {
      result += " ";
      ++column;
    }
    result += word;
  }
  return result;
}

}  // namespace tee_token_admin
