// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ozk/tee/client_cert_initializer_api.h>

#include <memory>
#include <optional>
#include <string>

#include "bytes.h"

namespace cci {

/// The library's operations. What they report by a code, by nothing at all or by an exception is thrown as a
/// Failure; that there is no token, too.
class Token {
 public:
  Token();

  void generate_key() const;
  /// DER.
  Bytes request(const std::string& common_name) const;
  /// `chain` is PEM. A Failure of class kRefused may follow a successful exchange.
  void install(const std::string& chain) const;
  void delete_identity() const;

  /// PEM; empty when there are none.
  std::string certificates(const std::string& key) const;
  /// PEM; nothing when the token has no such key.
  std::optional<std::string> public_key(const std::string& key) const;
  /// r||s; nothing when the token has no such key.
  std::optional<Bytes> sign(const std::string& key, Bytes data) const;
  /// PEM; empty when the group has none.
  std::string roots(const std::string& group) const;
  /// Empty when none is stored.
  std::string vin() const;

 private:
  std::optional<std::string> read_public_key(const std::string& what, const std::string& key) const;
  void require_token(const std::string& what) const;
  template <typename Answer>
  Answer unless_no_token(const std::string& what, Answer answer) const;

  std::shared_ptr<ozk::tee::ClientCertInitializerAPI> m_api;
};

}  // namespace cci
