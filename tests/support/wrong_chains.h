// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/pk_keys.h>
#include <botan/x509cert.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace test_support {

/// The right answer to a certificate request, of which the wrong ones are made.
struct RightChain {
  Botan::X509_Certificate leaf, root;
  const Botan::Private_Key& root_key;
};

/// One way in which a backend may answer, and what the library makes of it.
struct WrongChain {
  const char* name;
  std::function<std::string(const RightChain&)> answer;
  bool installed;            ///< else it is refused, and the installed identity stays
  std::size_t certificates;  ///< in the chain that is installed
  std::size_t records;       ///< error records about what could not be decoded
};

const std::vector<WrongChain>& wrongChains();

}  // namespace test_support
