// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "backend.h"

#include <openssl/pem.h>

#include <stdexcept>

namespace wrong_chains {
namespace {

X509_REQ* decode(const std::string& bytes) {
  const Stream stream =
      owned(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())), BIO_free_all, "reading");
  const bool pem = bytes.find("-----BEGIN ") != std::string::npos;
  return pem ? PEM_read_bio_X509_REQ(stream.get(), nullptr, nullptr, nullptr)
             : d2i_X509_REQ_bio(stream.get(), nullptr);
}

Request read_request(const std::string& bytes) {
  const Request request(decode(bytes), X509_REQ_free);
  if (request == nullptr) {
    throw std::runtime_error("it is not a PKCS#10 request in DER or PEM");
  }
  EVP_PKEY* const key = X509_REQ_get0_pubkey(request.get());
  if (key == nullptr || X509_REQ_verify(request.get(), key) != 1) {
    throw std::runtime_error("the request is not signed by the key that it carries");
  }
  if (EVP_PKEY_get_base_id(key) != EVP_PKEY_EC) {
    throw std::runtime_error("the request is not for an EC key, as the library's are");
  }
  return request;
}

}  // namespace

Backend::Backend(const std::string& bytes)
    : request(read_request(bytes)),
      root(make_root("Root")),
      intermediate(make_intermediate("Intermediate", root)),
      leaf(issue()) {}

Certificate Backend::issue(const Change& change) const {
  return certify_client(X509_REQ_get_subject_name(request.get()), X509_REQ_get0_pubkey(request.get()),
                        intermediate, change);
}

std::string Backend::chain_of(const Certificate& first) const {
  return pem({first, intermediate.certificate, root.certificate});
}

}  // namespace wrong_chains
