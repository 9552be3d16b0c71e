// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token.h"

#include <utility>

#include "token_failure.h"

namespace cci {

using ozk::tee::ResultCode;

namespace {

const char kInstalled[] = "LYR", kWaiting[] = "LYR_CSR";

template <typename Call>
auto asked(const std::string& what, const Call& call) {
  try {
    return call();
  } catch (const Botan::Exception& error) {
    throw token_failure(what, error);
  }
}

Failure refused(const std::string& what, const std::string& state) {
  return Failure(Exit::kRefused, "cannot " + what + ": the token refused, or failed half-way; " + state +
                                     "; --verbose shows the token's reason");
}

}  // namespace

Token::Token() : m_api(ozk::tee::ClientCertInitializerAPI::get_instance()) {}

// Of all operations this one tells a slot without a token from a token without the object: it is empty there.
std::optional<std::string> Token::read_public_key(const std::string& what, const std::string& key) const {
  return asked(what, [&]() -> std::optional<std::string> {
    try {
      return m_api->get_public_key(key);
    } catch (const Botan::Exception& error) {
      if (says_not_there(error)) return std::nullopt;
      throw;
    }
  });
}

void Token::require_token(const std::string& what) const {
  const auto key = read_public_key(what, kInstalled);
  if (key && key->empty()) {
    throw Failure(Exit::kNoToken, "cannot " + what +
                                      ": there is no token in any slot; put it in, or make one "
                                      "(a software token: tee-token init; TEE_TOKEN_DIR says where)");
  }
}

template <typename Answer>
Answer Token::unless_no_token(const std::string& what, Answer answer) const {
  if (answer.empty()) require_token(what);
  return answer;
}

void Token::generate_key() const {
  const std::string what = "generate a key pair";
  if (asked(what, [&] { return m_api->generate_private_key(kWaiting); }) != ResultCode::OK) {
    require_token(what);
    throw refused(what, "the installed identity is as it was");
  }
}

Bytes Token::request(const std::string& common_name) const {
  const std::string what = "make a request";
  const auto call = [&] {
    try {
      return m_api->generate_csr(common_name, kWaiting);
    } catch (const Botan::Decoding_Error&) {  // its signature is not its key's
      throw Failure(Exit::kRefused, "cannot " + what +
                                        ": two programs made a key pair at the same time; begin "
                                        "again when the other is done: cci generate-key");
    }
  };
  const Bytes der = unless_no_token(what, asked(what, call));
  if (der.empty()) {
    throw Failure(Exit::kNotFound, "cannot make a request: no key pair waits; run: cci generate-key");
  }
  return der;
}

void Token::install(const std::string& chain) const {
  const std::string what = "install the chain";
  const ResultCode code =
      asked(what, [&] { return m_api->set_client_cert_and_move_key(chain, kWaiting, kInstalled); });
  if (code == ResultCode::OK) return;
  require_token(what);
  if (code == ResultCode::TOKEN_STORE_ERROR) {
    throw Failure(Exit::kTokenFailed,
                  "cannot install the chain: the token cannot store it; the installed identity is as it was "
                  "and the key pair still waits; make room and try again");
  }
  throw refused(what, "the identity that was installed serves on; begin again with: cci generate-key");
}

void Token::delete_identity() const {
  const std::string what = "delete the identity";
  if (asked(what, [&] { return m_api->set_client_cert_and_move_key("", "", kInstalled); }) !=
      ResultCode::OK) {
    require_token(what);
    throw refused(what, "part of it may be gone; run cci delete again");
  }
}

std::string Token::certificates(const std::string& key) const {
  const std::string what = "read the certificates of " + key;
  return unless_no_token(what, asked(what, [&] { return m_api->get_client_cert(key); }));
}

std::optional<std::string> Token::public_key(const std::string& key) const {
  const std::string what = "read the public key of " + key;
  const auto found = read_public_key(what, key);
  return found ? std::optional<std::string>(unless_no_token(what, *found)) : std::nullopt;
}

std::optional<Bytes> Token::sign(const std::string& key, Bytes data) const {
  const std::string what = "sign with " + key;
  const Bytes signature =
      unless_no_token(what, asked(what, [&] { return m_api->generate_signature(key, std::move(data), ""); }));
  return signature.empty() ? std::nullopt : std::optional<Bytes>(signature);
}

std::string Token::roots(const std::string& group) const {
  const std::string what = "read the roots";
  return unless_no_token(what, asked(what, [&] { return m_api->get_root_cert_bundle(group); }));
}

std::string Token::vin() const {
  const std::string what = "read the VIN";
  return unless_no_token(what, asked(what, [&] { return m_api->get_zemp_vin(); }));
}

}  // namespace cci
