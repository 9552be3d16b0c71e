// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "session/session.h"

namespace tee_token {
namespace {

/// No more of it than a line has room for.
std::string printable(const Bytes& label) {
  constexpr char kDigits[] = "0123456789abcdef";
  constexpr std::size_t kLongest = 64;
  std::string text;
  for (const std::uint8_t byte : label) {
    if (text.size() >= kLongest) {
      return text + "...";
    }
    if (byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\') {
      text += static_cast<char>(byte);
    } else {
      text += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return text;
}

}  // namespace

std::string Session::description_of(CK_OBJECT_HANDLE object, CK_RV code) {
  const std::string number = "object " + std::to_string(object);
  if (code == CKR_DEVICE_ERROR || code == CKR_DEVICE_REMOVED) {
    return number;
  }
  try {
    const Attributes seen = view([&] { return m_token.objects().visible(object); });
    return std::string(name_of_class(seen.number(CKA_CLASS))) + " \"" + printable(seen.at(CKA_LABEL)) +
           "\" (" + number + ")";
  } catch (const std::exception&) {
    return number;
  }
}

}  // namespace tee_token
