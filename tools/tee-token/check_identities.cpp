// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "check_identities.h"

#include <botan/auto_rng.h>
#include <botan/p11_ecdsa.h>
#include <botan/p11_trust_store_group.h>
#include <botan/pubkey.h>

#include <functional>
#include <map>
#include <tuple>

#include "chain_faults.h"
#include "examine.h"
#include "shared/label.h"
#include "shared/object_attributes.h"
#include "shared/shown_text.h"

namespace tee_token_admin {

using shown_text::counted;

using namespace Botan::PKCS11;

namespace {

using Handles = std::vector<ObjectHandle>;

/// The objects of one client and key identifier, installed or temporary.
struct Identity {
  Handles public_keys, private_keys, chains;
};
using Owner = std::tuple<std::string, std::string, bool>;  // client, key identifier, installed
using Identities = std::map<Owner, Identity>;

std::string name_of(const Owner& owner) {
  const auto& [client, key_id, installed] = owner;
  return "client " + client + ", key " + key_id + (installed ? ", installed" : ", temporary");
}

Handles* part_of(Identity& identity, const Object& object) {
  switch (number_of(object, CKA_CLASS)) {
    case CKO_PUBLIC_KEY:
      return &identity.public_keys;
    case CKO_PRIVATE_KEY:
      return &identity.private_keys;
    case CKO_CERTIFICATE:
      return number_of(object, CKA_CERTIFICATE_TYPE) == TEE_CKC_CERTIFICATE_CHAIN ? &identity.chains
                                                                                  : nullptr;
    default:
      return nullptr;
  }
}

void sort_in(Identities& identities, const Object& object) {
  const std::string client = text_of(object, TEE_CKA_VENDOR_CLIENT_ID);
  if (client.empty()) {
    return;
  }
  Identity& identity =
      identities[{client, text_of(object, TEE_CKA_VENDOR_KEY_ID), is_true(object, TEE_CKA_VENDOR_PERMANENT)}];
  if (Handles* const part = part_of(identity, object)) {
    part->push_back(object.handle());
  }
}

std::string list_of(const Identity& identity) {
  std::string text;
  const auto add = [&](const Handles& handles, const char* what) {
    text += (text.empty() ? "" : ", ") + counted(handles.size(), what);
    for (const ObjectHandle handle : handles) {
      text += (handle == handles.front() ? " (object " : ", ") + std::to_string(handle);
    }
    text += handles.empty() ? "" : ")";
  };
  add(identity.public_keys, "public key");
  add(identity.private_keys, "private key");
  add(identity.chains, "chain");
  return text;
}

void check_parts(Findings& findings, const Owner& owner, const Identity& identity) {
  const std::string text = name_of(owner) + ": " + list_of(identity);
  const std::size_t pairs = identity.public_keys.size();
  if (std::get<bool>(owner)) {
    if (pairs != 1 || identity.private_keys.size() != 1 || identity.chains.size() != 1) {
      findings.add(Fault::kIncomplete, text + "; install a new identity, or destroy these");
    }
  } else if (pairs != identity.private_keys.size()) {
    findings.add(Fault::kIncomplete, text + "; a new key pair takes their place, or destroy them");
  } else if (pairs > 1 || !identity.chains.empty()) {
    findings.add(Fault::kLeftover, text + "; more than one request needs: destroy them");
  }
}

void check_signing(Session& session, ObjectHandle handle) {
  Botan::AutoSeeded_RNG rng;
  const PKCS11_ECDSA_PrivateKey key(session, handle);
  Botan::PK_Signer(key, rng, "EMSA1(SHA-256)").sign_message(std::vector<std::uint8_t>{'?'}, rng);
}

void check_pair(Findings& findings, Session& session, const Owner& owner, const Identity& identity) {
  Botan::AutoSeeded_RNG rng;
  const PKCS11_ECDSA_PublicKey public_key(session, identity.public_keys.front());
  PKCS11_ECDSA_PrivateKey private_key(session, identity.private_keys.front());
  private_key.set_public_point(public_key.public_point());
  if (private_key.domain() != public_key.domain() || !private_key.check_key(rng, true)) {
    findings.add(Fault::kOtherKey, name_of(owner) + ": the public key (object " +
                                       std::to_string(public_key.handle()) +
                                       ") is not the private key's (object " +
                                       std::to_string(private_key.handle()) + "); destroy both");
  }
}

void check_identity(Findings& findings, Session& session, const Owner& owner, const Identity& identity,
                    unsigned days) {
  check_parts(findings, owner, identity);
  for (const ObjectHandle handle : identity.private_keys) {
    examine(findings, handle, [&] { check_signing(session, handle); });
  }
  if (identity.public_keys.size() != 1) {
    return;
  }
  const ObjectHandle public_key = identity.public_keys.front();
  if (identity.private_keys.size() == 1) {
    examine(findings, public_key, [&] { check_pair(findings, session, owner, identity); });
  }
  for (const ObjectHandle handle : identity.chains) {
    examine(findings, handle, [&] {
      check_chain_of(findings, name_of(owner) + ": chain (object " + std::to_string(handle) + ")",
                     PKCS11_TSG_CertficateChain(session, handle).getx509CertificateChain(),
                     PKCS11_ECDSA_PublicKey(session, public_key), days);
    });
  }
}

/// A private key that no client owns.
void check_pre_installed(Session& session, const Object& object) {
  if (number_of(object, CKA_CLASS) == CKO_PRIVATE_KEY && text_of(object, TEE_CKA_VENDOR_CLIENT_ID).empty()) {
    check_signing(session, object.handle());
  }
}

}  // namespace

void check_identities(Findings& findings, TokenSession& token, unsigned days) {
  Identities identities;
  for (const ObjectHandle handle : token.find(AttributeContainer())) {
    examine(findings, handle, [&] {
      const Object object(token.session(), handle);
      sort_in(identities, object);
      check_pre_installed(token.session(), object);
    });
  }
  for (const auto& [owner, identity] : identities) {
    check_identity(findings, token.session(), owner, identity, days);
  }
}

}  // namespace tee_token_admin
