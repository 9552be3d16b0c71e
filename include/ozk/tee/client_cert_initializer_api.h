// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ozk {
namespace tee {

/// Outcome of the operations that change the token.
enum class ResultCode : std::uint32_t {
  OK = 0,                 ///< success
  TOKEN_STORE_ERROR = 2,  ///< the certificate chain could not be stored on the token
  INVALID_KEY_ID = 4,     ///< the operation does not accept this key identifier
  CRYPTO_OP_ERROR = 5,    ///< the token failed or refused, or there is no token
};

/// Provisioning and use of a client certificate whose private key never leaves a trusted execution
/// environment, which is reached as a PKCS#11 token.
///
/// Key identifiers are compared byte for byte; nothing is trimmed or case-folded:
///
///   "LYR_CSR"  the temporary key pair, until its certificate is installed
///   "LYR"      the installed key pair and certificate chain
///   "BASE"     the device's own key and certificates, which are on the token from the start
///   "ZEMP"     the ZEMP certificates, which are on the token from the start
///
/// Provisioning is generate_private_key("LYR_CSR"), generate_csr(name, "LYR_CSR"), certification elsewhere,
/// and set_client_cert_and_move_key(chain, "LYR_CSR", "LYR"). The installed key stays in use until the last
/// of these has succeeded (platform).
///
/// What is marked "(platform)" is up to the platform's PKCS#11 layer and token; the host platform does it.
///
/// Each operation may be called at any time and from any thread; overlapping calls wait for one another
/// (platform). Each opens a session of its own, logs the user in, and closes everything before it returns or
/// throws; nothing is kept between calls.
///
/// Failures that an operation has a ResultCode for are returned. A failed search for one of the client's
/// objects or for the device's key is logged, and the object counts as missing; only generate_private_key
/// throws when its search for earlier keys fails. Failures while closing are dropped. All others are thrown:
/// Botan::Exception when the token fails or cannot be opened, and exceptions of the standard library such as
/// std::bad_alloc.
///
/// Without a token in any slot nothing is thrown, not even by operations that throw when an object is
/// missing: those with a ResultCode return CRYPTO_OP_ERROR or INVALID_KEY_ID, the others an empty result.
class [[gnu::visibility("default")]] ClientCertInitializerAPI {
 public:
  /// Returns the process's only instance, which the first call creates. The caller shares its ownership, and
  /// releases it before the library is unloaded.
  static std::shared_ptr<ClientCertInitializerAPI> get_instance();

  virtual ~ClientCertInitializerAPI();

  /// Destroys the temporary keys and chain of earlier attempts, then generates a temporary key pair, ECDSA on
  /// secp256r1, inside the token. The installed key pair is not changed.
  ///
  /// An earlier key that cannot be destroyed ends the clean-up, not the generation. Then, or with more
  /// than 100 keys, some are left, and a later request can be for one of those. Of several chains one is
  /// destroyed.
  ///
  /// INVALID_KEY_ID when `key_id` is not "LYR_CSR": nothing is changed.
  /// CRYPTO_OP_ERROR when the token did not report the new key pair, which may exist all the same. The
  /// clean-up is done by then.
  virtual ResultCode generate_private_key(std::string key_id) = 0;

  /// Returns a certificate request (PKCS#10, RFC 2986) in DER for the temporary key pair, signed inside the
  /// token with ECDSA and SHA-256. Its subject is C=DE, O=QAVR and `common_name` (UTF-8; left out when
  /// empty; its length and characters are not checked).
  ///
  /// Empty when `key_id` is not "LYR_CSR" or there is no temporary key pair.
  virtual std::vector<std::uint8_t> generate_csr(std::string common_name, std::string key_id) = 0;

  /// Returns the ECDSA signature of `data`, made inside the token.
  /// `data` is the message itself (it is hashed with SHA-256), of any length, also empty; `unused` has no
  /// effect. The result is r||s (IEEE 1363, not DER), each big-endian and as long as the curve's order, 64
  /// bytes in all on secp256r1.
  ///
  /// Empty when `key_id` is neither "LYR" nor "BASE" or the token has no such key.
  virtual std::vector<std::uint8_t> generate_signature(std::string key_id, std::vector<std::uint8_t> data,
                                                       std::string unused) = 0;

  /// Returns the public key of the installed ("LYR") or the temporary ("LYR_CSR") key pair in PEM: a
  /// SubjectPublicKeyInfo (RFC 5480) that names its curve and carries an uncompressed point.
  ///
  /// Empty for any other `key_id`, and without a token. Throws Botan::Exception when the token has no such
  /// key.
  virtual std::string get_public_key(std::string key_id) = 0;

  /// Returns certificates as PEM blocks (RFC 7468, 64 characters a line), back to back: for "LYR" the chain
  /// in the order in which it was installed (platform), for "BASE" and "ZEMP" the device's own. A certificate
  /// of the device that is missing or cannot be read is left out.
  ///
  /// Empty when there is none, and for any other `key_id`.
  virtual std::string get_client_cert(std::string key_id) = 0;

  /// Replaces the installed key pair and chain by the temporary key pair and the chain issued for it, in one
  /// change of the token (platform), and then destroys the temporary objects.
  /// `cert_chain` is PEM, the client's certificate first. Blocks that cannot be decoded are left out (and
  /// logged, but for one at the end), and when none is left the keys are installed with an empty chain: check
  /// an answer before you pass it on. Limit its size too: Botan takes 12 s to read 40 kB of hostile input,
  /// and the time grows with the square of the size. Neither dates nor signatures are checked.
  ///
  /// INVALID_KEY_ID when `temp_key_id` is not "LYR_CSR" or `key_id` not "LYR": nothing is changed.
  /// TOKEN_STORE_ERROR when the chain cannot be stored: nothing is installed, the temporary keys stay.
  /// CRYPTO_OP_ERROR when the token refuses, for instance a chain for another key (platform): the installed
  /// objects stay and the temporary ones are destroyed, up to the first that cannot be; without a temporary
  /// key pair the new chain stays. Also when the installation succeeded but the temporary objects could not
  /// be destroyed; get_client_cert("LYR") returns the chain that is installed.
  ///
  /// With `cert_chain` and `temp_key_id` both empty and `key_id` "LYR" it destroys the installed key pair and
  /// chain instead, up to the first that cannot be: CRYPTO_OP_ERROR. A missing object is no error, so a
  /// deletion that failed can be repeated; nor is one whose search fails, so OK can leave objects behind.
  virtual ResultCode set_client_cert_and_move_key(std::string cert_chain, std::string temp_key_id,
                                                  std::string key_id) = 0;

  /// Returns the root certificates of a trust store group as PEM blocks (RFC 7468, 64 characters a line),
  /// back to back in the token's order, the usual format of a file with trust anchors.
  /// `trust_store_group` is the identifier that the token's security officer gave the group; it is compared
  /// byte for byte (platform).
  ///
  /// Empty when the group has no roots, and without a token. Throws Botan::Exception when the token has no
  /// such group for the clients of this library, and when a root cannot be decoded: none is left out
  /// (platform).
  virtual std::string get_root_cert_bundle(std::string trust_store_group) = 0;

  /// Returns the vehicle identification number as the bytes that the token stores, NUL bytes included.
  /// Empty when none is stored.
  virtual std::string get_zemp_vin() = 0;
};

}  // namespace tee
}  // namespace ozk
