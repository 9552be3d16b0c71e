// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "raw_token.h"

#include <botan/p11_ecdsa.h>
#include <botan/p11_object.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace bench {

using namespace Botan::PKCS11;

namespace {

const secure_string kPin = {'4', '0', '7', '1', '8', '2', '9', '3', 0};
const std::string kLabel = "to sign with";

struct LoggedIn {
  explicit LoggedIn(const std::string& path)
      : module(path), slot(module, Slot::get_available_slots(module, true).front()), session(slot, false) {
    session.login(UserType::User, kPin);
  }

  Module module;
  Slot slot;
  Session session;
};

void make_key(Session& session) {
  const Botan::EC_Group group("secp256r1");
  EC_PublicKeyGenerationProperties public_half(group.DER_encode(Botan::EC_DOMPAR_ENC_OID));
  EC_PrivateKeyGenerationProperties private_half;
  public_half.set_token(true);
  private_half.set_token(true);
  private_half.set_private(true);
  private_half.set_label(kLabel);
  generate_ecdsa_keypair(session, public_half, private_half);
}

ObjectHandle find_key(Session& session) {
  AttributeContainer wanted(ObjectClass::PrivateKey);
  wanted.add_string(AttributeType::Label, kLabel);
  ObjectFinder finder(session, wanted.attributes());
  const ObjectHandle key = finder.find().at(0);
  finder.finish();
  return key;
}

}  // namespace

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double median_microseconds(int rounds, const std::function<void()>& work) {
  std::vector<double> times;
  work();  // not counted: fills caches
  for (int round = 0; round < rounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    work();
    times.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
  }
  return median(std::move(times));
}

RawToken::RawToken(std::string module, std::size_t other_objects) : m_module(std::move(module)) {
  {
    Module loaded(m_module);
    Slot slot(loaded, Slot::get_available_slots(loaded, false).front());
    initialize_token(slot, "bench", kPin, kPin);
  }
  LoggedIn user(m_module);
  make_key(user.session);
  for (std::size_t i = 0; i < other_objects; ++i) {
    DataObjectProperties object;
    object.set_token(true);
    object.set_private(false);
    object.set_label("object " + std::to_string(i));
    object.set_value(secure_string(100, 'x'));
    Object(user.session, object);
  }
}

void RawToken::sign_once() const {
  LoggedIn user(m_module);
  const ObjectHandle key = find_key(user.session);
  Mechanism mechanism = {static_cast<CK_MECHANISM_TYPE>(MechanismType::Ecdsa), nullptr, 0};
  const secure_string digest(32, 7);
  secure_string signature;
  user.module->C_SignInit(user.session.handle(), &mechanism, key);
  user.module->C_Sign(user.session.handle(), digest, signature);
}

RawToken::Steps RawToken::time_steps(int rounds) const {
  const double load = median_microseconds(rounds, [&] { Module{m_module}; });
  LoggedIn user(m_module);
  const double login = median_microseconds(rounds, [&] {
    user.session.logoff();
    user.session.login(UserType::User, kPin);
  });
  return {load, login, median_microseconds(rounds, [&] { find_key(user.session); })};
}

}  // namespace bench
