// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_x509.h>

#include "declared.h"

using namespace Botan::PKCS11;
using Bytes = std::vector<uint8_t>;
using Properties = X509_CertificateProperties;
using Certificate = PKCS11_X509_Certificate;

template struct Class<Properties, kMoves + kVirtual + kFinal, CertificateProperties>;
template struct Class<Certificate, kCopies + kMoves + kVirtual + kFinal, Object, Botan::X509_Certificate>;
static_assert(Certificate::Class == ObjectClass::Certificate, "");
template struct Converts<Properties, const Bytes&, const Bytes&>;
template struct Converts<Properties, const Botan::X509_Certificate&>;
template struct Converts<Certificate, Session&, ObjectHandle>;
template struct Converts<Certificate, Session&, const Properties&>;

void x509() {
  has<Properties, void(const Bytes&)>({&Properties::set_id, &Properties::set_issuer, &Properties::set_serial,
                                       &Properties::set_subject_pubkey_hash,
                                       &Properties::set_issuer_pubkey_hash});
  has<Properties, void(MechanismType)>({&Properties::set_hash_alg});
  has<Properties, const Bytes&() const>({&Properties::subject, &Properties::value});
  has<std::vector<Certificate>(Session&)>(Object::search<Certificate>);
}
