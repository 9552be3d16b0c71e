// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/ec_group.h>
#include <botan/hex.h>

#include "module_trials.h"
#include "scratch_keys.h"
#include "shared/object_attributes.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kLongMessage = 1 << 20;
constexpr int kSignatures = 100;  // of some, r or s begins with a zero byte

void require_found(const Trial& trial, TokenSession& token, const AttributeContainer& sought,
                   const std::vector<ObjectHandle>& wanted) {
  const std::vector<ObjectHandle> found = token.find(sought);
  trial.require(found == wanted,
                std::to_string(found.size()) + " objects found instead of " + std::to_string(wanted.size()));
}

/// Without a look at the result, which the layer takes.
std::pair<Object, Object> generate(Trial& trial, Session& session) {
  const auto public_key = public_key_generation(kScratchKeys);
  const auto private_key = private_key_generation(kScratchKeys);
  Mechanism mechanism = {CKM_EC_KEY_PAIR_GEN, nullptr, 0};
  ObjectHandle handles[2] = {};
  trial.step("C_GenerateKeyPair");
  session.module()->C_GenerateKeyPair(session.handle(), &mechanism, public_key.data(), public_key.count(),
                                      private_key.data(), private_key.count(), &handles[0], &handles[1]);
  return {Object(session, handles[0]), Object(session, handles[1])};
}

void require_signature(Trial& trial, const ScratchPair& pair, const Bytes& message) {
  trial.step("a signature of " + std::to_string(message.size()) + " bytes");
  const Bytes signature = sign(pair.second, message);
  trial.require(signature.size() == 64, "has " + std::to_string(signature.size()) + " bytes instead of 64");
  trial.require(verifies(pair.first, message, signature), "does not verify");
}

}  // namespace

Judgement try_key_pair(Trial& trial) {
  ScratchSession user(trial);
  const ScratchPair pair = make_pair(trial, user, kScratchIdentity);
  trial.step("the public key");
  require_attributes(trial, pair.first, public_key_generation(kScratchIdentity));
  trial.step("the private key");
  require_attributes(trial, pair.second, private_key_generation(kScratchIdentity));
  trial.step("the library's search for the public key");
  require_found(trial, user, public_key_search(kScratchIdentity, false), {pair.first.handle()});
  require_found(trial, user, public_key_search(kScratchIdentity, true), {});
  trial.step("the library's search for the private key");
  require_found(trial, user, private_key_search(kScratchIdentity, false), {pair.second.handle()});
  require_found(trial, user, private_key_search(kScratchIdentity, true), {});
  return {Verdict::kOk, ""};
}

Judgement try_ec_point(Trial& trial) {
  ScratchSession user(trial);
  const auto [public_key, private_key] = generate(trial, user.session());
  const Bytes curve = Botan::EC_Group("secp256r1").DER_encode(Botan::EC_DOMPAR_ENC_OID);
  const Bytes point = value_of(public_key, CKA_EC_POINT);
  const Bytes beginning = {0x04, 0x41, 0x04};  // OCTET STRING of 65 bytes, uncompressed
  trial.step("CKA_EC_POINT");
  trial.require(point.size() == 67 && std::equal(beginning.begin(), beginning.end(), point.begin()),
                "is " + Botan::hex_encode(point));
  trial.step("CKA_EC_PARAMS of the public key");
  trial.require(value_of(public_key, CKA_EC_PARAMS) == curve, "is not the curve's object identifier");
  trial.step("CKA_EC_PARAMS of the private key");
  trial.require(value_of(private_key, CKA_EC_PARAMS) == curve, "is not the curve's object identifier");
  return {Verdict::kOk, ""};
}

Judgement try_private_key(Trial& trial) {
  ScratchSession user(trial);
  const ScratchPair pair = make_pair(trial, user, kScratchKeys);
  trial.step("C_GetAttributeValue of CKA_VALUE");
  trial.require(value_of(pair.second, CKA_VALUE).empty(), "gives the private key away");
  trial.step("CKA_SENSITIVE");
  trial.require(is_true(pair.second, CKA_SENSITIVE), "is not true");
  trial.step("CKA_EXTRACTABLE");
  trial.require(!is_true(pair.second, CKA_EXTRACTABLE), "is true");
  return {Verdict::kOk, ""};
}

Judgement try_signature(Trial& trial) {
  ScratchSession user(trial);
  const ScratchPair pair = make_pair(trial, user, kScratchKeys);
  for (const std::size_t length : {std::size_t{0}, kLongMessage}) {
    require_signature(trial, pair, Bytes(length, 'm'));
  }
  for (int i = 0; i < kSignatures; ++i) {
    require_signature(trial, pair, Bytes(32, static_cast<std::uint8_t>(i)));
  }
  return {Verdict::kOk, ""};
}

}  // namespace tee_token_admin
