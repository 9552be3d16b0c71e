// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// What the tools read without a complaint the library installs; what was read is read again from PEM; a label
// that layer and library both accept is encoded the same by both.
#include "api/client_cert_initializer.h"
#include "shared/certificates.h"
#include "tee/templates.h"

struct ozk::tee::ClientCertInitializerTestAccess {
  static tools::Certificates installed(const std::string& text) {
    alignas(Botan::PKCS11::Session) static char unused[sizeof(Botan::PKCS11::Session)];
    return ClientCertInitializer().getCertificates(reinterpret_cast<Botan::PKCS11::Session&>(unused), text);
  }
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const auto found = tools::find_certificates(text);
  std::string pem;
  for (const auto& certificate : found.certificates) pem += certificate.PEM_encode();
  if (tools::find_certificates(pem).certificates != found.certificates) std::abort();
  using ozk::tee::ClientCertInitializerTestAccess;
  const bool is_sound = found.unreadable == 0;
  if (is_sound && ClientCertInitializerTestAccess::installed(text) != found.certificates) std::abort();
  try {
    if (Botan::unlock(ozk::tee::labelFromText(text)) != Botan::PKCS11::encode_label(text)) std::abort();
  } catch (const std::exception&) {  // not a label
  }
  return 0;
}
