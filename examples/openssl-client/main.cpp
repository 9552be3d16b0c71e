// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Gets a page from a server that demands a client certificate, with OpenSSL 3. OpenSSL has the library sign
// through a provider: it hands over the whole message, which the library's signature takes, where an ENGINE
// gets a hash.

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/provider.h>
#include <openssl/ssl.h>
#include <ozk/tee/client_cert_initializer_api.h>

#include <iostream>
#include <memory>
#include <stdexcept>

namespace {

using Api = ozk::tee::ClientCertInitializerAPI;
using Bytes = std::vector<std::uint8_t>;

// The provider (provider-keymgmt(7), provider-signature(7)). It has one key, which is the library's "LYR":
// the token has seen to it that the installed certificate is for it.

void* new_object(void* provider) { return provider; }
void free_object(void*) {}
int has(const void*, int) { return 1; }
int match(const void*, const void*, int) { return 1; }
int import(void*, int, const OSSL_PARAM[]) { return 1; }
const OSSL_PARAM kNoParts[] = {OSSL_PARAM_END};
const OSSL_PARAM* import_types(int) { return kNoParts; }
int get_params(void*, OSSL_PARAM wanted[]) {
  OSSL_PARAM* const group = OSSL_PARAM_locate(wanted, OSSL_PKEY_PARAM_GROUP_NAME);
  return group == nullptr ? 1 : OSSL_PARAM_set_utf8_string(group, "prime256v1");
}
const OSSL_PARAM* gettable_params(void*) { return kNoParts; }
const char* operation_name(int) { return "ECDSA"; }

void* new_signature(void* provider, const char*) { return provider; }
int sign_init(void*, const char* hash, void*, const OSSL_PARAM[]) {
  const std::shared_ptr<EVP_MD> named(EVP_MD_fetch(nullptr, hash, nullptr), EVP_MD_free);
  return named != nullptr && EVP_MD_is_a(named.get(), "SHA256") == 1 ? 1 : 0;
}
int sign(void*, std::uint8_t* signature, std::size_t* length, std::size_t, const std::uint8_t* message,
         std::size_t size) try {
  *length = 72;  // at most, in DER
  if (signature == nullptr) {
    return 1;
  }
  const Bytes halves = Api::get_instance()->generate_signature("LYR", Bytes(message, message + size), "");
  const std::shared_ptr<ECDSA_SIG> numbers(ECDSA_SIG_new(), ECDSA_SIG_free);
  if (halves.size() != 64 || ECDSA_SIG_set0(numbers.get(), BN_bin2bn(halves.data(), 32, nullptr),
                                            BN_bin2bn(halves.data() + 32, 32, nullptr)) != 1) {
    return 0;
  }
  *length = static_cast<std::size_t>(i2d_ECDSA_SIG(numbers.get(), &signature));
  return 1;
} catch (const std::exception&) {  // from the token
  return 0;
}

template <typename Function>
OSSL_DISPATCH entry(int number, Function* function) {
  return {number, reinterpret_cast<void (*)()>(function)};
}
const OSSL_ALGORITHM* algorithms(void*, int operation, int* no_cache) {
  *no_cache = 0;
  static const OSSL_DISPATCH keys[] = {entry(OSSL_FUNC_KEYMGMT_NEW, new_object),
                                       entry(OSSL_FUNC_KEYMGMT_FREE, free_object),
                                       entry(OSSL_FUNC_KEYMGMT_HAS, has),
                                       entry(OSSL_FUNC_KEYMGMT_MATCH, match),
                                       entry(OSSL_FUNC_KEYMGMT_IMPORT, import),
                                       entry(OSSL_FUNC_KEYMGMT_IMPORT_TYPES, import_types),
                                       entry(OSSL_FUNC_KEYMGMT_GET_PARAMS, get_params),
                                       entry(OSSL_FUNC_KEYMGMT_GETTABLE_PARAMS, gettable_params),
                                       entry(OSSL_FUNC_KEYMGMT_QUERY_OPERATION_NAME, operation_name),
                                       {}};
  static const OSSL_DISPATCH signatures[] = {entry(OSSL_FUNC_SIGNATURE_NEWCTX, new_signature),
                                             entry(OSSL_FUNC_SIGNATURE_FREECTX, free_object),
                                             entry(OSSL_FUNC_SIGNATURE_DIGEST_SIGN_INIT, sign_init),
                                             entry(OSSL_FUNC_SIGNATURE_DIGEST_SIGN, sign),
                                             {}};
  static const OSSL_ALGORITHM key_types[] = {{"EC", "provider=tee", keys, nullptr}, {}};
  static const OSSL_ALGORITHM signature_types[] = {{"ECDSA", "provider=tee", signatures, nullptr}, {}};
  return operation == OSSL_OP_KEYMGMT     ? key_types
         : operation == OSSL_OP_SIGNATURE ? signature_types
                                          : nullptr;
}
int provider(const OSSL_CORE_HANDLE* core, const OSSL_DISPATCH*, const OSSL_DISPATCH** functions,
             void** context) {
  static const OSSL_DISPATCH table[] = {entry(OSSL_FUNC_PROVIDER_QUERY_OPERATION, algorithms), {}};
  *functions = table;
  *context = const_cast<OSSL_CORE_HANDLE*>(core);
  return 1;
}

// The client.

void require(bool done, const std::string& step) {
  if (!done) {
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    throw std::runtime_error(step + (reason == nullptr ? "" : std::string(": ") + reason));
  }
}

std::vector<std::shared_ptr<X509>> certificates(const std::string& pem) {
  const std::shared_ptr<BIO> text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free_all);
  std::vector<std::shared_ptr<X509>> all;
  while (X509* const next = PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr)) {
    all.emplace_back(next, X509_free);
  }
  ERR_clear_error();
  return all;
}

std::shared_ptr<EVP_PKEY> token_key() {
  const std::shared_ptr<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", "provider=tee"),
                                              EVP_PKEY_CTX_free);
  EVP_PKEY* key = nullptr;
  OSSL_PARAM no_parts[] = {OSSL_PARAM_END};
  EVP_PKEY_fromdata_init(context.get());
  EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_KEYPAIR, no_parts);
  return std::shared_ptr<EVP_PKEY>(key, EVP_PKEY_free);
}

void ask(const std::string& host, const std::string& port, const std::string& group) {
  OSSL_PROVIDER_load(nullptr, "default");
  OSSL_PROVIDER_add_builtin(nullptr, "tee", provider);
  OSSL_PROVIDER_load(nullptr, "tee");
  EVP_set_default_properties(nullptr, "?provider=default");  // for all keys but the library's
  const auto api = Api::get_instance();
  const std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
  for (const auto& root : certificates(api->get_root_cert_bundle(group))) {
    X509_STORE_add_cert(SSL_CTX_get_cert_store(context.get()), root.get());
  }
  const auto chain = certificates(api->get_client_cert("LYR"));
  require(!chain.empty(), "no client certificate is installed");
  for (std::size_t i = 1; i < chain.size(); ++i) {
    SSL_CTX_add1_chain_cert(context.get(), chain[i].get());
  }
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
  require(SSL_CTX_use_certificate(context.get(), chain[0].get()) == 1 &&
              SSL_CTX_use_PrivateKey(context.get(), token_key().get()) == 1,
          "the identity");
  const std::shared_ptr<BIO> connection(BIO_new_ssl_connect(context.get()), BIO_free_all);
  SSL* tls = nullptr;
  BIO_get_ssl(connection.get(), &tls);
  BIO_set_conn_hostname(connection.get(), (host + ":" + port).c_str());
  SSL_set_tlsext_host_name(tls, host.c_str());
  require(SSL_set1_host(tls, host.c_str()) == 1, host);
  require(BIO_do_handshake(connection.get()) == 1 && BIO_puts(connection.get(), "GET / HTTP/1.0\r\n\r\n") > 0,
          host);
  char data[4096];
  for (int size = 0; (size = BIO_read(connection.get(), data, sizeof data)) > 0;) {
    std::cout.write(data, size);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 4) {
    std::cerr << "usage: openssl-client HOST PORT TRUST-STORE-GROUP\n";
    return 2;
  }
  ask(argv[1], argv[2], argv[3]);
  return std::cout.flush() ? 0 : 1;
} catch (const std::exception& failure) {
  std::cerr << "openssl-client: " << failure.what() << "\n";
  return 1;
}
