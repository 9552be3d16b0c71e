// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/rsa.h>

#include "cases.h"

namespace wrong_chains {
namespace {

template <void (*change)(X509*)>
std::string leaf_with(const Backend& b) {
  return b.chain_of(b.issue(change));
}

Key owned_key(EVP_PKEY* key) { return owned(key, EVP_PKEY_free, "a key pair"); }

void set_key(X509* leaf, const Key& key) { require(X509_set_pubkey(leaf, key.get()) == 1, "another key"); }
void other_key(X509* leaf) { set_key(leaf, owned_key(EVP_EC_gen("P-256"))); }
void p384_key(X509* leaf) { set_key(leaf, owned_key(EVP_EC_gen("P-384"))); }
void rsa_key(X509* leaf) { set_key(leaf, owned_key(EVP_RSA_gen(2048))); }
void ed25519_key(X509* leaf) { set_key(leaf, owned_key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"))); }

/// The same key, encoded in another way.
void encode_key(X509* leaf, const char* parameter, const char* value) {
  const Key key = owned_key(EVP_PKEY_dup(X509_get0_pubkey(leaf)));
  require(EVP_PKEY_set_utf8_string_param(key.get(), parameter, value) == 1, value);
  set_key(leaf, key);
}
void explicit_parameters(X509* leaf) { encode_key(leaf, OSSL_PKEY_PARAM_EC_ENCODING, "explicit"); }
void compressed_point(X509* leaf) {
  encode_key(leaf, OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "compressed");
}

void expired(X509* leaf) { set_days(leaf, -30, -1); }
void not_yet_valid(X509* leaf) { set_days(leaf, 1, 30); }
void no_end_date(X509* leaf) {
  require(ASN1_TIME_set_string_X509(X509_getm_notAfter(leaf), "99991231235959Z") == 1, "a date");
}

void other_subject(X509* leaf) { set_common_name(leaf, "someone else"); }
void empty_subject(X509* leaf) {
  const auto name = owned(X509_NAME_new(), X509_NAME_free, "a name");
  require(X509_set_subject_name(leaf, name.get()) == 1, "an empty name");
}

void negative_serial(X509* leaf) {
  require(ASN1_INTEGER_set_int64(X509_get_serialNumber(leaf), -2) == 1, "a serial number");
}
void long_serial(X509* leaf) {
  const auto number = owned(BN_new(), BN_free, "a serial number");
  require(BN_set_bit(number.get(), 40 * 8 - 2) == 1 &&
              BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(leaf)) != nullptr,
          "a serial number");
}

void no_extensions(X509* leaf) {
  while (X509_get_ext_count(leaf) > 0) {
    X509_EXTENSION_free(X509_delete_ext(leaf, 0));
  }
}
void version_1(X509* leaf) {
  no_extensions(leaf);
  require(X509_set_version(leaf, X509_VERSION_1) == 1, "version 1");
}
void ca_leaf(X509* leaf) {
  no_extensions(leaf);
  add_extension(leaf, "basicConstraints", "critical,CA:true");
  add_extension(leaf, "keyUsage", "critical,keyCertSign");
}
void server_leaf(X509* leaf) {
  no_extensions(leaf);
  add_extension(leaf, "extendedKeyUsage", "serverAuth");
}
void unknown_critical(X509* leaf) { add_extension(leaf, "1.3.6.1.4.1.55555.1", "critical,DER:0500"); }

std::string sha1(const Backend& b) {
  const Certificate leaf = b.issue();
  sign(leaf.get(), b.intermediate.key.get(), EVP_sha1());
  return b.chain_of(leaf);
}

std::string self_signed(const Backend& b) {
  const Key key = new_key();
  const Certificate leaf = b.issue();
  require(X509_set_issuer_name(leaf.get(), X509_get_subject_name(leaf.get())) == 1 &&
              X509_set_pubkey(leaf.get(), key.get()) == 1,
          "a self-signed leaf");
  sign(leaf.get(), key.get());
  return b.chain_of(leaf);
}

/// The right answer, with other bytes in the place of the leaf's.
std::string leaf_of_bytes(const Backend& b, const std::string& bytes) {
  return pem("CERTIFICATE", bytes) + pem({b.intermediate.certificate, b.root.certificate});
}

std::string broken_signature(const Backend& b) {
  std::string bytes = der(b.leaf.get(), i2d_X509);
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  return leaf_of_bytes(b, bytes);
}

std::string algorithms_differ(const Backend& b) {
  std::string bytes = der(b.leaf.get(), i2d_X509);
  const std::string ecdsa_with_sha256 = "\x2A\x86\x48\xCE\x3D\x04\x03\x02";
  bytes[bytes.rfind(ecdsa_with_sha256) + ecdsa_with_sha256.size() - 1] = '\x03';
  return leaf_of_bytes(b, bytes);
}

std::string shortened(const Backend& b) {
  const std::string bytes = der(b.leaf.get(), i2d_X509);
  return leaf_of_bytes(b, bytes.substr(0, bytes.size() / 2));
}

const std::vector<Case> kCases = {
    {"other-key", "the leaf is for another key", leaf_with<other_key>, refused()},
    {"self-signed", "the leaf is for another key and signed with it", self_signed, refused()},
    {"rsa", "the leaf is for an RSA key", leaf_with<rsa_key>, refused()},
    {"p-384", "the leaf is for a key on P-384", leaf_with<p384_key>, refused()},
    {"ed25519", "the leaf is for an Ed25519 key", leaf_with<ed25519_key>, refused()},
    {"explicit-parameters", "the leaf's key has the curve's equation, not its name",
     leaf_with<explicit_parameters>, installed(3), check::kKeyForm},
    {"compressed-point", "the leaf's key has a compressed point", leaf_with<compressed_point>, installed(3),
     check::kKeyForm},
    {"expired", "the leaf has expired", leaf_with<expired>, installed(3), check::kVerifies},
    {"not-yet-valid", "the leaf is valid from tomorrow", leaf_with<not_yet_valid>, installed(3),
     check::kVerifies},
    {"no-end-date", "the leaf is valid to 9999-12-31, which means for ever", leaf_with<no_end_date>,
     refused(1), check::kEndDate},
    {"other-subject", "the leaf has another subject", leaf_with<other_subject>, installed(3),
     check::kSubject},
    {"empty-subject", "the leaf has an empty subject", leaf_with<empty_subject>, installed(3),
     check::kSubject},
    {"negative-serial", "the leaf's serial number is negative", leaf_with<negative_serial>, installed(3),
     check::kSerial},
    {"long-serial", "the leaf's serial number has 40 bytes", leaf_with<long_serial>, installed(3),
     check::kSerial},
    {"no-extensions", "the leaf has no extensions", leaf_with<no_extensions>, installed(3)},
    {"version-1", "the leaf is of X.509 version 1", leaf_with<version_1>, installed(3)},
    {"ca-leaf", "the leaf is a certificate of an authority", leaf_with<ca_leaf>, installed(3),
     check::kVerifies},
    {"server-leaf", "the leaf is a server's certificate", leaf_with<server_leaf>, installed(3),
     check::kVerifies},
    {"unknown-critical", "the leaf has a critical extension that nobody knows", leaf_with<unknown_critical>,
     installed(3), check::kVerifies},
    {"sha1", "the leaf is signed over SHA-1", sha1, installed(3), check::kVerifies},
    {"broken-signature", "the leaf's signature is wrong", broken_signature, installed(3), check::kVerifies},
    {"algorithms-differ", "the leaf names two signature algorithms", algorithms_differ, refused(1)},
    {"shortened", "the leaf's DER ends half-way", shortened, refused(1)},
};

}  // namespace

const std::vector<Case>& leaf_cases() { return kCases; }

}  // namespace wrong_chains
