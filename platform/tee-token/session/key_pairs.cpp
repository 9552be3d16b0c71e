// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "objects/installation.h"
#include "session/session.h"

namespace tee_token {

Session::KeyPair Session::generate(Attributes public_half, Attributes private_half) {
  private_half.set_if_absent(CKA_EC_PARAMS, public_half.at(CKA_EC_PARAMS));
  Attributes public_key = generated_half(std::move(public_half), CKO_PUBLIC_KEY, creator());
  Attributes private_key = generated_half(std::move(private_half), CKO_PRIVATE_KEY, creator());
  if (private_key.at(CKA_EC_PARAMS) != public_key.at(CKA_EC_PARAMS)) {
    throw Error(CKR_TEMPLATE_INCONSISTENT, "the two halves name different curves");
  }
  for (const Attributes* const half : {&private_key, &public_key}) {
    require_may_write(place_of(*half));
    m_token.objects().require_may_store(*half);
  }

  const EcPrivateKey key = EcPrivateKey::generate(public_key.at(CKA_EC_PARAMS));
  private_key.set(CKA_VALUE, key.value());
  public_key.set(CKA_EC_POINT, key.ec_point());
  const Bytes info = EcPublicKey(public_key.at(CKA_EC_PARAMS), public_key.at(CKA_EC_POINT)).info();
  public_key.set(CKA_PUBLIC_KEY_INFO, info);
  private_key.set(CKA_PUBLIC_KEY_INFO, info);

  // With halves in two places the change in memory is committed last, since that cannot fail.
  std::optional<ObjectChange> in_memory;
  if (place_of(public_key) != place_of(private_key)) {
    in_memory.emplace(m_token, Place::kSession);
  }
  ObjectChange change(m_token, in_memory ? Place::kToken : place_of(public_key));
  ObjectSpace& objects = m_token.objects();
  const KeyPair made{objects.insert(public_key, m_handle), objects.insert(private_key, m_handle)};
  change.commit();
  if (in_memory) {
    in_memory->commit();
  }
  return made;
}

void Session::install(const std::vector<CK_OBJECT_HANDLE>& installed,
                      const std::vector<CK_OBJECT_HANDLE>& added) {
  require_may_write(Place::kToken);
  tee_token::install(m_token, installed, added);
}

}  // namespace tee_token
