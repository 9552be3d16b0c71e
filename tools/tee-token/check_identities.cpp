// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/p11_ecdsa.h>
#include <botan/p11_trust_store_group.h>
#include <botan/pubkey.h>

#include <map>

#include "checks.h"
#include "shared/shown_text.h"
#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Handles = std::vector<ObjectHandle>;

/// The objects of one client and key identifier, installed or temporary.
struct Identity {
  bool installed = false;
  Handles public_keys, private_keys, chains;
};
using Identities = std::map<std::string, Identity>;  // by name

void add_to(Identities& identities, const Object& object) {
  const std::string client = text_of(object, TEE_CKA_VENDOR_CLIENT_ID);
  if (client.empty()) {
    return;
  }
  const bool installed = is_true(object, TEE_CKA_VENDOR_PERMANENT);
  Identity& identity = identities["client " + client + ", key " + text_of(object, TEE_CKA_VENDOR_KEY_ID) +
                                  (installed ? ", installed" : ", temporary")];
  identity.installed = installed;
  const CK_ULONG object_class = number_of(object, CKA_CLASS);
  if (object_class == CKO_PUBLIC_KEY) {
    identity.public_keys.push_back(object.handle());
  } else if (object_class == CKO_PRIVATE_KEY) {
    identity.private_keys.push_back(object.handle());
  } else if (number_of(object, CKA_CERTIFICATE_TYPE) == TEE_CKC_CERTIFICATE_CHAIN) {
    identity.chains.push_back(object.handle());
  }
}

std::string list_of(const Handles& handles, const char* noun) {
  std::string text = shown_text::counted(handles.size(), noun);
  for (const ObjectHandle handle : handles) {
    text += (handle == handles.front() ? " (object " : ", ") + std::to_string(handle);
  }
  return text + (handles.empty() ? "" : ")");
}

void check_parts(Findings& findings, const std::string& name, const Identity& identity) {
  const std::string text = name + ": " + list_of(identity.public_keys, "public key") + ", " +
                           list_of(identity.private_keys, "private key") + ", " +
                           list_of(identity.chains, "chain");
  const std::size_t pairs = identity.public_keys.size();
  if (identity.installed) {
    if (pairs != 1 || identity.private_keys.size() != 1 || identity.chains.size() != 1) {
      findings.add(Fault::kIncomplete, text + "; install a new identity, or destroy these");
    }
  } else if (pairs != identity.private_keys.size()) {
    findings.add(Fault::kIncomplete, text + "; generate a new key pair, or destroy these");
  } else if (pairs > 1 || !identity.chains.empty()) {
    findings.add(Fault::kLeftover,
                 text + "; a pending request needs one key pair and no chain: destroy these");
  }
}

void check_signing(Session& session, ObjectHandle handle) {
  Botan::AutoSeeded_RNG rng;
  const PKCS11_ECDSA_PrivateKey key(session, handle);
  Botan::PK_Signer(key, rng, "EMSA1(SHA-256)").sign_message(std::vector<std::uint8_t>{'?'}, rng);
}

void check_pair(Findings& findings, Session& session, const std::string& name, const Identity& identity) {
  Botan::AutoSeeded_RNG rng;
  const PKCS11_ECDSA_PublicKey public_key(session, identity.public_keys.front());
  PKCS11_ECDSA_PrivateKey private_key(session, identity.private_keys.front());
  private_key.set_public_point(public_key.public_point());
  if (private_key.domain() != public_key.domain() || !private_key.check_key(rng, true)) {
    findings.add(Fault::kOtherKey, name + ": " + list_of(identity.public_keys, "public key") +
                                       " does not match " + list_of(identity.private_keys, "private key") +
                                       "; destroy both");
  }
}

void check_identity(Findings& findings, Session& session, const std::string& name, const Identity& identity,
                    unsigned days) {
  check_parts(findings, name, identity);
  if (identity.public_keys.size() != 1) {
    return;
  }
  const ObjectHandle public_key = identity.public_keys.front();
  if (identity.private_keys.size() == 1) {
    examine(findings, public_key, [&] { check_pair(findings, session, name, identity); });
  }
  for (const ObjectHandle handle : identity.chains) {
    examine(findings, handle, [&] {
      const PKCS11_ECDSA_PublicKey key(session, public_key);
      const auto chain = PKCS11_TSG_CertficateChain(session, handle).getx509CertificateChain();
      add_all(
          findings, name + ": chain (object " + std::to_string(handle) + ")",
          tools::findings_of_chain(chain, Botan::ECDSA_PublicKey(key.domain(), key.public_point()), days));
    });
  }
}

}  // namespace

void check_identities(Findings& findings, TokenSession& token, unsigned days) {
  Identities identities;
  for (const ObjectHandle handle : token.find(AttributeContainer())) {
    examine(findings, handle, [&] {
      const Object object(token.session(), handle);
      add_to(identities, object);
      if (number_of(object, CKA_CLASS) == CKO_PRIVATE_KEY) {
        check_signing(token.session(), handle);
      }
    });
  }
  for (const auto& [name, identity] : identities) {
    check_identity(findings, token.session(), name, identity, days);
  }
}

}  // namespace tee_token_admin
