// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "objects/installation.h"

#include <algorithm>
#include <map>

#include "base/error.h"
#include "crypto/ec_key.h"
#include "objects/new_object.h"

namespace tee_token {
namespace {

/// The temporary objects of an identity, by class.
using Parts = std::map<CK_OBJECT_CLASS, Attributes>;

[[noreturn]] void refuse(CK_RV code, const std::string& reason) {
  throw Failure(code, "installation refused, nothing was changed: " + reason);
}

Attributes owner_of(const Attributes& object) {
  Attributes owner;
  owner.set(TEE_CKA_VENDOR_CLIENT_ID, object.at(TEE_CKA_VENDOR_CLIENT_ID));
  owner.set(TEE_CKA_VENDOR_KEY_ID, object.at(TEE_CKA_VENDOR_KEY_ID));
  return owner;
}

Attributes load_part(Token& token, CK_OBJECT_HANDLE object) {
  Attributes part = token.objects().in(Place::kToken).load(object).value_or(Attributes());
  unseal(object, part, token.login());
  if (!part.has(TEE_CKA_VENDOR_CLIENT_ID) || !part.has(TEE_CKA_VENDOR_KEY_ID) ||
      !part.has(TEE_CKA_VENDOR_PERMANENT) || part.is_true(TEE_CKA_VENDOR_PERMANENT)) {
    refuse(CKR_OBJECT_HANDLE_INVALID,
           "object " + std::to_string(object) + " is not a temporary object of a client");
  }
  return part;
}

Parts load_parts(Token& token, const std::vector<CK_OBJECT_HANDLE>& added) {
  Parts parts;
  for (const CK_OBJECT_HANDLE object : added) {
    Attributes part = load_part(token, object);
    parts.emplace(part.number(CKA_CLASS), std::move(part));
  }
  const bool complete = added.size() == 3 && parts.count(CKO_PUBLIC_KEY) != 0 &&
                        parts.count(CKO_PRIVATE_KEY) != 0 && parts.count(CKO_CERTIFICATE) != 0 &&
                        parts[CKO_CERTIFICATE].number(CKA_CERTIFICATE_TYPE) == TEE_CKC_CERTIFICATE_CHAIN;
  if (!complete) {
    refuse(CKR_ARGUMENTS_BAD, "the added objects are not one public key, one private key and one chain");
  }
  return parts;
}

void require_one_owner(const Parts& parts, const Attributes& owner) {
  for (const auto& [object_class, part] : parts) {
    for (const auto& [type, value] : owner) {
      if (part.at(type) != value) {
        refuse(CKR_OBJECT_HANDLE_INVALID, "the added objects belong to different clients or key identifiers");
      }
    }
  }
}

// Without this, an installed object that the caller has not found would stay beside the new identity.
void require_whole_set(ObjectStore& store, const std::vector<CK_OBJECT_HANDLE>& installed, Attributes owner) {
  owner.set_bool(TEE_CKA_VENDOR_PERMANENT, true);
  std::vector<CK_OBJECT_HANDLE> present;
  for (CK_OBJECT_HANDLE object = 0; (object = store.next_match(owner, object)) != 0;) {
    present.push_back(object);
  }
  std::vector<CK_OBJECT_HANDLE> named = installed;
  std::sort(named.begin(), named.end());
  if (!std::includes(present.begin(), present.end(), named.begin(), named.end())) {
    refuse(CKR_OBJECT_HANDLE_INVALID,
           "an object to be replaced is not an installed object of this client and key identifier");
  }
  if (named != present) {
    refuse(CKR_ARGUMENTS_BAD, "the objects to be replaced are not all objects that are installed");
  }
}

// Whether one of the DER certificates, which are back to back in `chain`, is for `key`; false when a
// certificate cannot be read.
bool has_certificate_for(const EcPublicKey& key, const Bytes& chain) {
  bool found = false;
  const std::uint8_t* next = chain.data();
  const std::uint8_t* const end = chain.data() + chain.size();
  while (next != end) {
    const X509Certificate certificate(reinterpret_cast<X509*>(
        ASN1_item_d2i_ex(nullptr, &next, end - next, ASN1_ITEM_rptr(X509), library_context(), nullptr)));
    if (certificate == nullptr) {
      require_openssl_memory();
      return false;
    }
    const EVP_PKEY* const certified = X509_get0_pubkey(certificate.get());
    found = found || (certified != nullptr && key.equals(certified));
  }
  return found;
}

void require_match(const Parts& parts, const KeyDevice& device) {
  const Attributes& public_half = parts.at(CKO_PUBLIC_KEY);
  const Attributes& private_half = parts.at(CKO_PRIVATE_KEY);
  const Bytes& ec_params = private_half.at(CKA_EC_PARAMS);
  if (public_half.at(CKA_EC_PARAMS) != ec_params ||
      public_half.at(CKA_EC_POINT) != device.ec_point(ec_params, private_half.at(CKA_VALUE))) {
    refuse(CKR_KEY_HANDLE_INVALID, "the public key does not match the private key");
  }
  const EcPublicKey public_key(ec_params, public_half.at(CKA_EC_POINT));
  const Bytes& chain = parts.at(CKO_CERTIFICATE).at(CKA_VALUE);
  if (!chain.empty() && !has_certificate_for(public_key, chain)) {
    refuse(CKR_DATA_INVALID, "no certificate of the chain is for the new public key");
  }
}

}  // namespace

void install(Token& token, const std::vector<CK_OBJECT_HANDLE>& installed,
             const std::vector<CK_OBJECT_HANDLE>& added) {
  if (!token.is_logged_in(User::kUser)) {
    throw Failure(CKR_USER_NOT_LOGGED_IN, "only the logged-in user can install");
  }
  ObjectChange change(token, Place::kToken);
  ObjectStore& store = token.objects().in(Place::kToken);
  Parts parts = load_parts(token, added);
  const Attributes owner = owner_of(parts.at(CKO_PUBLIC_KEY));
  require_one_owner(parts, owner);
  require_whole_set(store, installed, owner);
  require_match(parts, *token.login()->device);
  for (const CK_OBJECT_HANDLE object : installed) {
    store.erase(object);
  }
  for (auto& [object_class, part] : parts) {
    withdraw_trust(part);
    part.set_bool(TEE_CKA_VENDOR_PERMANENT, true);
    store.insert(part);
  }
  change.commit();
}

}  // namespace tee_token
