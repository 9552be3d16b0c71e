// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/symmetric.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

namespace tee_token {
namespace {

constexpr std::size_t kNonceLength = 12;
constexpr std::size_t kTagLength = 16;

CipherContext new_context() { return CipherContext(require_handle(EVP_CIPHER_CTX_new(), "AES-GCM")); }

}  // namespace

Bytes random_bytes(std::size_t length) {
  Bytes bytes(length);
  // Not RAND_priv_bytes: that would use a RAND_METHOD of the host program.
  EVP_RAND_CTX* const generator =
      require_handle(RAND_get0_private(library_context()), "the random generator");
  require_openssl(EVP_RAND_generate(generator, bytes.data(), length, 0, 0, nullptr, 0) == 1,
                  "random generation");
  return bytes;
}

void add_entropy(ByteView bytes) {
  EVP_RAND_CTX* const generator =
      require_handle(RAND_get0_primary(library_context()), "the random generator");
  require_openssl(EVP_RAND_reseed(generator, 0, nullptr, 0, bytes.data, bytes.size) == 1,
                  "seeding the random generator");
}

Bytes seal(const Bytes& key, ByteView plaintext, ByteView context) {
  Bytes sealed = random_bytes(kNonceLength);
  sealed.resize(kNonceLength + plaintext.size + kTagLength);
  std::uint8_t* const ciphertext = sealed.data() + kNonceLength;
  const CipherContext cipher = new_context();
  int length = 0;
  require_openssl(EVP_EncryptInit_ex(cipher.get(), Libcrypto::get().aes_256_gcm.get(), nullptr, key.data(),
                                     sealed.data()) == 1 &&
                      EVP_EncryptUpdate(cipher.get(), nullptr, &length, context.data,
                                        static_cast<int>(context.size)) == 1 &&
                      EVP_EncryptUpdate(cipher.get(), ciphertext, &length, plaintext.data,
                                        static_cast<int>(plaintext.size)) == 1 &&
                      EVP_EncryptFinal_ex(cipher.get(), ciphertext + plaintext.size, &length) == 1 &&
                      EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_GCM_GET_TAG, kTagLength,
                                          ciphertext + plaintext.size) == 1,
                  "AES-GCM");
  return sealed;
}

std::optional<Bytes> unseal(const Bytes& key, ByteView sealed, ByteView context) {
  if (sealed.size < kNonceLength + kTagLength) {
    return std::nullopt;
  }
  const std::size_t length = sealed.size - kNonceLength - kTagLength;
  const std::uint8_t* const ciphertext = sealed.data + kNonceLength;
  Bytes tag = ByteView(ciphertext + length, kTagLength).copy();
  Bytes plaintext(length);
  const CipherContext cipher = new_context();
  int produced = 0;
  require_openssl(EVP_DecryptInit_ex(cipher.get(), Libcrypto::get().aes_256_gcm.get(), nullptr, key.data(),
                                     sealed.data) == 1 &&
                      EVP_DecryptUpdate(cipher.get(), nullptr, &produced, context.data,
                                        static_cast<int>(context.size)) == 1 &&
                      EVP_DecryptUpdate(cipher.get(), plaintext.data(), &produced, ciphertext,
                                        static_cast<int>(length)) == 1 &&
                      EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_GCM_SET_TAG, kTagLength, tag.data()) == 1,
                  "AES-GCM");
  std::uint8_t rest[16];
  if (EVP_DecryptFinal_ex(cipher.get(), rest, &produced) != 1) {
    return std::nullopt;
  }
  return plaintext;
}

Bytes derive_key(const Bytes& secret, ByteView salt, ByteView info) {
  const KdfContext context(require_handle(EVP_KDF_CTX_new(Libcrypto::get().hkdf.get()), "HKDF"));
  const auto octets = [](const char* name, ByteView view) {
    return OSSL_PARAM_construct_octet_string(name, const_cast<std::uint8_t*>(view.data), view.size);
  };
  char digest[] = "SHA256";
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                                   octets(OSSL_KDF_PARAM_KEY, secret), octets(OSSL_KDF_PARAM_SALT, salt),
                                   octets(OSSL_KDF_PARAM_INFO, info), OSSL_PARAM_construct_end()};
  Bytes key(kKeyLength);
  require_openssl(EVP_KDF_derive(context.get(), key.data(), key.size(), parameters) == 1, "HKDF");
  return key;
}

Mac::Mac(const Bytes& key) {
  m_context.reset(require_handle(EVP_MAC_CTX_new(Libcrypto::get().hmac.get()), "HMAC"));
  char digest[] = "SHA256";
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                   OSSL_PARAM_construct_end()};
  require_openssl(EVP_MAC_init(m_context.get(), key.data(), key.size(), parameters) == 1, "HMAC");
}

Mac& Mac::add(ByteView bytes) {
  const std::uint64_t length = bytes.size;
  require_openssl(
      EVP_MAC_update(m_context.get(), reinterpret_cast<const std::uint8_t*>(&length), sizeof length) == 1 &&
          EVP_MAC_update(m_context.get(), bytes.data, bytes.size) == 1,
      "HMAC");
  return *this;
}

Bytes Mac::result() {
  Bytes result(kLength);
  std::size_t length = 0;
  require_openssl(EVP_MAC_final(m_context.get(), result.data(), &length, result.size()) == 1, "HMAC");
  return result;
}

bool Mac::matches(ByteView stored) {
  const Bytes expected = result();
  return stored.size == expected.size() && CRYPTO_memcmp(stored.data, expected.data(), expected.size()) == 0;
}

}  // namespace tee_token
