// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <openssl/pkcs7.h>

#include "cases.h"

namespace wrong_chains {
namespace {

std::string der_leaf(const Backend& b) { return der(b.leaf.get(), i2d_X509); }
std::string der_chain(const Backend& b) {
  return der_leaf(b) + der(b.intermediate.certificate.get(), i2d_X509) +
         der(b.root.certificate.get(), i2d_X509);
}
std::string bare_base64(const Backend& b) { return base64(der_leaf(b)); }

std::string pkcs7_der(const Backend& b) {
  const auto bundle = owned(PKCS7_new(), PKCS7_free, "PKCS#7");
  require(PKCS7_set_type(bundle.get(), NID_pkcs7_signed) == 1 &&
              PKCS7_content_new(bundle.get(), NID_pkcs7_data) == 1,
          "PKCS#7");
  for (const Certificate& certificate : {b.leaf, b.intermediate.certificate, b.root.certificate}) {
    require(PKCS7_add_certificate(bundle.get(), certificate.get()) == 1, "PKCS#7");
  }
  return der(bundle.get(), i2d_PKCS7);
}
std::string pkcs7(const Backend& b) { return pem("PKCS7", pkcs7_der(b)); }
std::string pkcs7_base64(const Backend& b) { return base64(pkcs7_der(b)); }

std::string private_key(const Backend& b) {
  const Key throwaway = new_key();
  return b.chain() + pem("EC PRIVATE KEY", der(throwaway.get(), i2d_PrivateKey));
}
std::string request(const Backend& b) {
  return pem("CERTIFICATE REQUEST", der(b.request.get(), i2d_X509_REQ));
}

std::string html(const Backend&) {
  return "<!DOCTYPE html>\n<html><head><title>502 Bad Gateway</title></head>\n"
         "<body><h1>502 Bad Gateway</h1></body></html>\n";
}
std::string json(const Backend&) {
  return "{\"error\": \"the request was not authorised\", \"code\": 403}\n";
}
std::string json_chain(const Backend& b) {
  return "{\"chain\": \"" + replaced(b.chain(), "\n", "\\n") + "\"}\n";
}

std::string long_text(const Backend&) { return repeated(1 << 16, "no certificate\r\n"); }
std::string zero_digits(const Backend&) { return std::string(1000000, '0'); }
std::string zero_bytes(const Backend&) { return std::string(4096, '\0'); }
std::string empty(const Backend&) { return {}; }
std::string white_space(const Backend&) { return " \t\r\n\n"; }

const std::vector<Case> kCases = {
    {"der-leaf", "the leaf in DER", der_leaf, installed(1), check::kVerifies},
    {"der-chain", "the right chain in DER, back to back", der_chain, installed(3)},
    {"bare-base64", "the base64 of the leaf without BEGIN and END", bare_base64, installed(0),
     check::kNotEmpty},
    {"pkcs7", "the right chain in PKCS#7, PEM", pkcs7, installed(0, 1), check::kNotEmpty},
    {"pkcs7-der", "the right chain in PKCS#7, DER", pkcs7_der, installed(0), check::kNotEmpty},
    {"pkcs7-base64", "the right chain in PKCS#7, base64 without BEGIN and END", pkcs7_base64, installed(0),
     check::kNotEmpty},
    {"private-key", "the right chain, then a private key", private_key, installed(3, 1), check::kNoKey},
    {"request", "the request itself", request, installed(0, 1), check::kNotEmpty},
    {"html", "an error page", html, installed(0), check::kNotEmpty},
    {"json", "an error in JSON", json, installed(0), check::kNotEmpty},
    {"json-chain", "the right chain as a string of JSON", json_chain, installed(0, 3), check::kNotEmpty},
    {"long-text", "1 MiB of text", long_text, installed(0), check::kNotEmpty},
    {"zero-digits", "the digit 0 a million times", zero_digits, installed(0, 19999), check::kNotEmpty},
    {"zero-bytes", "4096 zero bytes", zero_bytes, installed(0), check::kNotEmpty},
    {"empty", "nothing", empty, installed(0), check::kNotEmpty},
    {"white-space", "blanks, tabs and line breaks", white_space, installed(0), check::kNotEmpty},
};

}  // namespace

const std::vector<Case>& format_cases() { return kCases; }

}  // namespace wrong_chains
