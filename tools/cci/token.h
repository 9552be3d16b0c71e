// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ozk/tee/client_cert_initializer_api.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cci {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytes_of(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline std::string text_of(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

/// The library's operations. What they report by a code, by an empty result or by an exception is thrown as a
/// Failure, as is the absence of a token.
class Token {
 public:
  /// `what` the command does, for failures: they say "cannot `what`". Without it, each operation says what it
  /// does.
  explicit Token(const std::string& what = "");

  void generate_key() const;
  /// DER.
  Bytes request(const std::string& common_name) const;
  /// `chain` is PEM. A Failure of class kRefused is possible although the chain is installed.
  void install(const std::string& chain) const;
  void delete_identity() const;

  /// PEM; empty when there are none.
  std::string certificates(const std::string& key) const;
  /// PEM; nothing when the token has no such key.
  std::optional<std::string> public_key(const std::string& key) const;
  /// r||s; nothing when the token has no such key.
  std::optional<Bytes> sign(const std::string& key, const Bytes& data) const;
  /// PEM; empty when the group has none.
  std::string roots(const std::string& group) const;
  /// Empty when none is stored.
  std::string vin() const;

 private:
  std::string named(const std::string& step) const { return m_what.empty() ? step : m_what; }
  std::optional<std::string> find_public_key(const std::string& what, const std::string& key) const;
  void require_token(const std::string& what) const;
  /// The result of the call. When it is empty, the reason may be that there is no token: then throws.
  template <typename Call>
  auto result_of(const std::string& what, const Call& call) const;

  std::string m_what;
  std::shared_ptr<ozk::tee::ClientCertInitializerAPI> m_api;
};

}  // namespace cci
