// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "ozk/tee/client_cert_initializer_api.h"

namespace ozk::tee {

/// A key pair, or half of one, known by its public key (PEM).
struct ModelPair {
  std::string key = {};
  bool has_public = false, has_private = false;

  bool isWhole() const { return has_public && has_private; }
};

/// The client's objects on a token, and what the operations make of them.
struct LifeCycleModel {
  ModelPair temporary, installed;
  bool has_chain = false;     // an installed one, perhaps without certificates
  std::string certified_key;  // that its certificate carries; empty when there is none
  unsigned stray_chains = 0;  // temporary ones, of installations that found no key pair

  /// `key` is that of the new pair, or empty as long as nobody has seen it.
  void generate(const std::string& key = "");
  /// The installation of a chain whose certificate carries `key`; empty: of a chain without certificates.
  ResultCode install(const std::string& key);
  void remove();
};

}  // namespace ozk::tee
