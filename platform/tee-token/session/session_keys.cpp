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
  require_may_write(public_key.is_true(CKA_TOKEN) || private_key.is_true(CKA_TOKEN));
  m_token.objects().require_may_store(private_key);
  m_token.objects().require_may_store(public_key);

  const EcPrivateKey key = EcPrivateKey::generate(public_key.at(CKA_EC_PARAMS));
  public_key.set(CKA_EC_POINT, key.ec_point());
  private_key.set(CKA_VALUE, key.value());
  const EcPublicKey other_half(public_key.at(CKA_EC_PARAMS), public_key.at(CKA_EC_POINT));
  public_key.set(CKA_PUBLIC_KEY_INFO, other_half.info());
  private_key.set(CKA_PUBLIC_KEY_INFO, other_half.info());
  const auto insert_both = [&] { return KeyPair{insert(public_key), insert(private_key)}; };
  ObjectStore& store = m_token.objects().store_for(public_key.is_true(CKA_TOKEN));
  if (public_key.is_true(CKA_TOKEN) == private_key.is_true(CKA_TOKEN)) {
    return change(store, insert_both);
  }
  // Two stores: the one in memory is the outer change, since its end cannot fail.
  return change(m_token.objects().store_for(false),
                [&] { return change(m_token.objects().store_for(true), insert_both); });
}

void Session::install(const std::vector<CK_OBJECT_HANDLE>& installed,
                      const std::vector<CK_OBJECT_HANDLE>& added) {
  require_may_write(true);
  if (!m_token.login().is(User::kUser)) {
    throw Failure(CKR_USER_NOT_LOGGED_IN, "an installation needs the logged-in user");
  }
  ObjectStore& store = m_token.objects().store_for(true);
  change(store, [&] {
    replace_installed(store, installed, added);
    return added.size();
  });
}

}  // namespace tee_token
