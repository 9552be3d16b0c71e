// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token.h"

#include "failure.h"

namespace cci {

using ozk::tee::ResultCode;

namespace {

const char kInstalled[] = "LYR", kPending[] = "LYR_CSR";

template <typename Call>
auto with_failures(const std::string& what, const Call& call) {
  try {
    return call();
  } catch (const Botan::Exception& error) {
    throw token_failure(what, error);
  }
}

Failure refused(const std::string& what, const std::string& state) {
  return Failure(Exit::kRefused,
                 "cannot " + what + ": the token refused; see the token's line above; " + state);
}

}  // namespace

Token::Token(const std::string& what)
    : m_what(what), m_api(ozk::tee::ClientCertInitializerAPI::get_instance()) {}

std::optional<std::string> Token::find_public_key(const std::string& what, const std::string& key) const {
  return with_failures(what, [&]() -> std::optional<std::string> {
    try {
      return m_api->get_public_key(key);
    } catch (const Botan::Exception& error) {
      if (is_absence(error)) return std::nullopt;
      throw;
    }
  });
}

// Reading a public key is the only operation whose result without a token (empty) differs from that of a
// token without the object (an exception).
void Token::require_token(const std::string& what) const {
  const auto key = find_public_key(what, kInstalled);
  if (key && key->empty()) {
    throw Failure(Exit::kNoToken, "cannot " + what +
                                      ": there is no token; make one with tee-token init, or correct "
                                      "TEE_TOKEN_DIR");
  }
}

template <typename Call>
auto Token::result_of(const std::string& what, const Call& call) const {
  auto result = with_failures(what, call);
  if (result.empty()) require_token(what);
  return result;
}

void Token::generate_key() const {
  const std::string what = named("generate a key pair");
  if (with_failures(what, [&] { return m_api->generate_private_key(kPending); }) != ResultCode::OK) {
    require_token(what);
    throw refused(what, "the installed identity is unchanged");
  }
}

Bytes Token::request(const std::string& common_name) const {
  const std::string what = named("make a request");
  const Bytes der = result_of(what, [&] {
    try {
      return m_api->generate_csr(common_name, kPending);
    } catch (const Botan::Decoding_Error&) {  // the signature does not match the public key
      throw Failure(Exit::kRefused, "cannot " + what +
                                        ": two programs generated a key pair at the same time; begin again "
                                        "when the other one has ended: cci generate-key");
    }
  });
  if (der.empty()) {
    throw Failure(Exit::kNotFound, "cannot make a request: no key pair is pending; run: cci generate-key");
  }
  return der;
}

void Token::install(const std::string& chain) const {
  const std::string what = named("install the chain");
  const ResultCode code =
      with_failures(what, [&] { return m_api->set_client_cert_and_move_key(chain, kPending, kInstalled); });
  if (code == ResultCode::OK) return;
  require_token(what);
  if (code == ResultCode::TOKEN_STORE_ERROR) {
    throw Failure(Exit::kTokenFailed, "cannot " + what +
                                          ": the token cannot store it; the installed identity is unchanged "
                                          "and the key pair is still pending; make room and try again");
  }
  throw refused(what, "the installed identity stays active; begin again with: cci generate-key");
}

void Token::delete_identity() const {
  const std::string what = named("delete the identity");
  if (with_failures(what, [&] { return m_api->set_client_cert_and_move_key("", "", kInstalled); }) !=
      ResultCode::OK) {
    require_token(what);
    throw refused(what, "a part of it may be gone; run cci delete again");
  }
}

std::string Token::certificates(const std::string& key) const {
  return result_of(named("read the certificates of " + key), [&] { return m_api->get_client_cert(key); });
}

std::optional<std::string> Token::public_key(const std::string& key) const {
  const std::string what = named("read the public key of " + key);
  const auto found = find_public_key(what, key);
  if (found && found->empty()) require_token(what);
  return found;
}

std::optional<Bytes> Token::sign(const std::string& key, const Bytes& data) const {
  const Bytes signature =
      result_of(named("sign with " + key), [&] { return m_api->generate_signature(key, data, ""); });
  return signature.empty() ? std::nullopt : std::optional<Bytes>(signature);
}

std::string Token::roots(const std::string& group) const {
  return result_of(named("read the roots"), [&] { return m_api->get_root_cert_bundle(group); });
}

std::string Token::vin() const {
  return result_of(named("read the VIN"), [&] { return m_api->get_zemp_vin(); });
}

}  // namespace cci
