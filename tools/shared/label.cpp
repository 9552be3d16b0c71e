// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/label.h"

#include <botan/exceptn.h>
#include <botan/hex.h>
#include <botan/loadstor.h>
#include <botan/p11_trust_store_group.h>

#include "shared/token_access.h"

namespace tee_token_admin {

std::vector<std::uint8_t> label_bytes(const std::string& text) {
  try {
    return Botan::PKCS11::encode_label(text);
  } catch (const Botan::Invalid_Argument& refused) {
    throw UsageError(refused.what());
  }
}

std::string label_text(const std::vector<std::uint8_t>& bytes) {
  if (bytes.size() != 5) {
    return Botan::hex_encode(bytes);
  }
  return std::to_string(bytes[0]) + "_" + std::to_string(Botan::load_le<std::uint32_t>(bytes.data() + 1, 0));
}

}  // namespace tee_token_admin
