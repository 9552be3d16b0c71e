// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "marked_objects.h"

#include <botan/hex.h>
#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>

#include <algorithm>
#include <sstream>

#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr const char* kMarkedKeyId = "CHECK";

void add_copy(Template& to, const Attribute& attribute) {
  to.add_binary(static_cast<AttributeType>(attribute.type),
                static_cast<const std::uint8_t*>(attribute.pValue), attribute.ulValueLen);
}

/// The label is compared again: a module whose search ignores labels finds objects of others.
Handles find_labelled(TokenSession& token, const Bytes& label) {
  Handles found = token.find(labelled(label));
  found.erase(std::remove_if(found.begin(), found.end(),
                             [&](ObjectHandle handle) {
                               return value_of(Object(token.session(), handle), CKA_LABEL) != label;
                             }),
              found.end());
  return found;
}

void try_to_destroy(TokenSession& token, ObjectHandle handle) {
  return_value_of([&] { Object(token.session(), handle).destroy(); });
}

Handles generate(Trial& trial, TokenSession& token, const Template& public_key, const Template& private_key) {
  Mechanism mechanism = {CKM_EC_KEY_PAIR_GEN, nullptr, 0};
  Handles handles(2);
  trial.step("C_GenerateKeyPair");
  token.session().module()->C_GenerateKeyPair(token.session().handle(), &mechanism, public_key.data(),
                                              public_key.count(), private_key.data(), private_key.count(),
                                              &handles[0], &handles[1]);
  return handles;
}

}  // namespace

UserSession::UserSession(Trial& trial) : TokenSession(trial.target()), m_mark(trial.mark()) {
  trial.step("C_Login");
  login(UserType::User);
  trial.step("after C_Login");
}

UserSession::~UserSession() {
  try {
    destroy_marked(*this, m_mark);
  } catch (const std::exception&) {
    // The clause has its judgement; the last one reports what is left.
  }
}

ObjectHandle create(Trial& trial, TokenSession& token, const std::string& what, const Template& object) {
  trial.step("C_CreateObject of " + what);
  ObjectHandle handle = 0;
  token.session().module()->C_CreateObject(token.session().handle(), object.data(),
                                           static_cast<Ulong>(object.count()), &handle);
  return handle;
}

ObjectHandle create_data(Trial& trial, TokenSession& token, const std::string& value) {
  DataObjectProperties object;
  object.set_token(true);
  object.set_private(true);
  object.add_binary(AttributeType::Label, trial.mark().label());
  object.set_value(secure_string(value.begin(), value.end()));
  return create(trial, token, "data", object);
}

ObjectHandle create_certificate(Trial& trial, TokenSession& token,
                                const Botan::X509_Certificate& certificate) {
  X509_CertificateProperties object(certificate);
  object.set_token(true);
  object.set_private(false);
  object.add_binary(AttributeType::Label, trial.mark().label());
  return create(trial, token, "a certificate", object);
}

Handles generate(Trial& trial, TokenSession& token) {
  return generate(trial, token, marked(library::lyrPublicKeyGeneration(), trial.mark()),
                  marked(library::lyrPrivateKeyGeneration(), trial.mark()));
}

Handles generate_standard(Trial& trial, TokenSession& token) {
  return generate(trial, token,
                  without_vendor_attributes(marked(library::lyrPublicKeyGeneration(), trial.mark())),
                  without_vendor_attributes(marked(library::lyrPrivateKeyGeneration(), trial.mark())));
}

Handles destroy_marked(TokenSession& token, const Mark& mark) {
  const std::string group = mark.client();
  Handles left;
  for (const Bytes& label : {mark.label(), Bytes(group.begin(), group.end())}) {
    for (const ObjectHandle handle : find_labelled(token, label)) {
      try_to_destroy(token, handle);
    }
    const Handles some = find_labelled(token, label);
    left.insert(left.end(), some.begin(), some.end());
  }
  return left;
}

CK_RV return_value_of(const std::function<void()>& call) {
  try {
    call();
    return CKR_OK;
  } catch (const PKCS11_ReturnError& error) {
    return static_cast<CK_RV>(error.get_return_value());
  }
}

void require_attributes(const Trial& trial, TokenSession& token, ObjectHandle handle, const Template& given) {
  for (const Attribute& attribute : given.attributes()) {
    const auto* const bytes = static_cast<const std::uint8_t*>(attribute.pValue);
    const Bytes found = value_of(Object(token.session(), handle), attribute.type);
    std::ostringstream text;
    text << "attribute 0x" << std::hex << attribute.type << " reads as " << Botan::hex_encode(found)
         << " instead of " << Botan::hex_encode(bytes, attribute.ulValueLen);
    trial.require(found == Bytes(bytes, bytes + attribute.ulValueLen), text.str());
  }
}

Template marked(const Template& of_library, const Mark& mark) {
  Template own;
  for (const Attribute& attribute : of_library.attributes()) {
    if (attribute.type == CKA_LABEL) {
      own.add_binary(AttributeType::Label, mark.label());
    } else if (attribute.type == TEE_CKA_VENDOR_CLIENT_ID) {
      own.add_string(kClientId, mark.client());
    } else if (attribute.type == TEE_CKA_VENDOR_KEY_ID) {
      own.add_string(kKeyId, kMarkedKeyId);
    } else {
      add_copy(own, attribute);
    }
  }
  return own;
}

Template chain_template(const Mark& mark, const std::vector<Botan::X509_Certificate>& certificates) {
  std::vector<std::uint8_t> value;
  for (const auto& certificate : certificates) {
    const std::vector<std::uint8_t> encoded = certificate.BER_encode();
    value.insert(value.end(), encoded.begin(), encoded.end());
  }
  TrustStoreGroupCertificateChainProperties object(value);
  library::addLYRCertificateChainAttributes(object, kMarkedKeyId);
  return marked(object, mark);
}

Template labelled(const std::vector<std::uint8_t>& label) {
  Template sought;
  sought.add_binary(AttributeType::Label, label);
  return sought;
}

Template without_vendor_attributes(const Template& all) {
  Template standard;
  for (const Attribute& attribute : all.attributes()) {
    if (attribute.type < CKA_VENDOR_DEFINED) {
      add_copy(standard, attribute);
    }
  }
  return standard;
}

}  // namespace tee_token_admin
