// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "text.h"

namespace wrong_chains {

std::string base64(const std::string& bytes, std::size_t width) {
  std::string encoded((bytes.size() + 2) / 3 * 4 + 1, '\0');  // one more for the zero byte at the end
  const auto length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&encoded[0]),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  encoded.resize(static_cast<std::size_t>(length));
  std::string lines;
  for (std::size_t start = 0; start < encoded.size(); start += width) {
    lines += encoded.substr(start, width) + '\n';
  }
  return lines;
}

std::string pem(const std::string& label, const std::string& bytes, std::size_t width) {
  return "-----BEGIN " + label + "-----\n" + base64(bytes, width) + "-----END " + label + "-----\n";
}

std::string pem(const std::vector<Certificate>& certificates, std::size_t width) {
  std::string text;
  for (const Certificate& certificate : certificates) {
    text += pem("CERTIFICATE", der(certificate.get(), i2d_X509), width);
  }
  return text;
}

std::string replaced(std::string text, const std::string& found, const std::string& replacement) {
  for (auto at = text.find(found); at != std::string::npos; at = text.find(found, at + replacement.size())) {
    text.replace(at, found.size(), replacement);
  }
  return text;
}

std::string replaced_once(std::string text, const std::string& found, const std::string& replacement) {
  return text.replace(text.find(found), found.size(), replacement);
}

std::string repeated(std::size_t times, const std::string& part) {
  std::string text;
  text.reserve(times * part.size());
  while (times-- > 0) {
    text += part;
  }
  return text;
}

}  // namespace wrong_chains
