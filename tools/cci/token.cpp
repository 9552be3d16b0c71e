// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token.h"

#include <botan/p11_types.h>
#include <sys/stat.h>

#include <cstdlib>

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

/// Why the token can store nothing, which the library does not tell apart from a refusal; else empty.
std::string storage_fault() try {
  namespace P11 = Botan::PKCS11;
  P11::Module module("", {nullptr, nullptr, nullptr, nullptr, CKF_OS_LOCKING_OK, nullptr}, nullptr);
  const auto slots = P11::Slot::get_available_slots(module, true);
  const P11::TokenInfo info = P11::Slot(module, slots.at(0)).get_token_info();
  return (info.flags & CKF_WRITE_PROTECTED) != 0 ? "the token is read-only; run: tee-token check"
         : info.ulFreePrivateMemory == 0         ? "the token's disk is full; free some space and try again"
                                                 : "";
} catch (const std::exception&) {
  return "";  // no reason but the refusal is known
}

Failure refused(const std::string& what, const std::string& state) {
  const std::string fault = storage_fault();
  return Failure(fault.empty() ? Exit::kRefused : Exit::kTokenFailed,
                 "cannot " + what + ": " +
                     (fault.empty() ? "the token refused; see the token's line above" : fault) + "; " +
                     state);
}

std::string absent_token() {
  const char* const folder = std::getenv("TEE_TOKEN_DIR");
  if (folder == nullptr || *folder == '\0') {
    return "no token; make one with tee-token init, or set TEE_TOKEN_DIR";
  }
  struct stat status {};
  const bool is_file = ::stat(folder, &status) == 0 && !S_ISDIR(status.st_mode);
  return is_file ? std::string(folder) + " is a file, not a folder; correct TEE_TOKEN_DIR"
                 : "no token in " + std::string(folder) +
                       "; make one with tee-token init, or correct TEE_TOKEN_DIR";
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
    throw Failure(Exit::kNoToken, "cannot " + what + ": " + absent_token());
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
