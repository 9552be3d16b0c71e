// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "raw_token.h"

#include <botan/p11_ecdsa.h>
#include <botan/p11_object.h>
#include <stdlib.h>

#include <fstream>
#include <optional>
#include <utility>

#include "measure.h"

namespace bench {

using namespace Botan::PKCS11;

namespace {

constexpr char kSoftHsm[] = "/usr/lib/softhsm/libsofthsm2.so";
const std::string kLabel = "to sign with";

/// The PIN that the library logs in with; on SoftHSM2 without its zero byte, which pkcs11-tool cannot give.
secure_string pin_of(RawToken::Kind kind) {
  secure_string pin = {'4', '0', '7', '1', '8', '2', '9', '3'};
  if (kind == RawToken::Kind::kOurs) pin.push_back(0);
  return pin;
}

std::string module_of(RawToken::Kind kind) {
  return kind == RawToken::Kind::kSoftHsm ? kSoftHsm : TEE_TOKEN_MODULE;
}

struct LoggedIn {
  explicit LoggedIn(RawToken::Kind kind)
      : module(module_of(kind)),
        slot(module, Slot::get_available_slots(module, true).front()),
        session(slot, false) {
    session.login(UserType::User, pin_of(kind));
  }

  Module module;
  Slot slot;
  Session session;
};

std::array<ObjectHandle, 2> make_key(Session& session, const std::string& label) {
  const Botan::EC_Group group("secp256r1");
  EC_PublicKeyGenerationProperties public_half(group.DER_encode(Botan::EC_DOMPAR_ENC_OID));
  EC_PrivateKeyGenerationProperties private_half;
  public_half.set_token(true);
  private_half.set_token(true);
  private_half.set_private(true);
  private_half.set_label(label);
  Mechanism mechanism = {static_cast<CK_MECHANISM_TYPE>(MechanismType::EcKeyPairGen), nullptr, 0};
  std::array<ObjectHandle, 2> halves{};
  session.module()->C_GenerateKeyPair(session.handle(), &mechanism, public_half.data(), public_half.count(),
                                      private_half.data(), private_half.count(), &halves[0], &halves[1]);
  return halves;
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

RawToken::RawToken(Kind kind, std::filesystem::path folder, std::size_t other_objects)
    : m_kind(kind), m_folder(std::move(folder)) {
  use();
  {
    Module module(module_of(kind));
    Slot slot(module, Slot::get_available_slots(module, false).front());
    initialize_token(slot, "bench", pin_of(kind), pin_of(kind));
  }
  LoggedIn user(kind);
  make_key(user.session, kLabel);
  for (std::size_t i = 0; i < other_objects; ++i) {
    DataObjectProperties object;
    object.set_token(true);
    object.set_private(false);
    object.set_label("object " + std::to_string(i));
    object.set_value(secure_string(100, 'x'));
    Object(user.session, object);
  }
}

void RawToken::use() const {
  if (m_kind == Kind::kOurs) {
    ::setenv("TEE_TOKEN_DIR", m_folder.c_str(), 1);
    return;
  }
  std::ofstream(m_folder / "conf") << "directories.tokendir = " << m_folder.string()
                                   << "\nlog.level = ERROR\n";
  ::setenv("SOFTHSM2_CONF", (m_folder / "conf").c_str(), 1);
}

RawToken::Times RawToken::sign_once() const {
  const secure_string pin = pin_of(m_kind);
  std::optional<Module> module;
  std::optional<Slot> slot;
  std::optional<Session> session;
  ObjectHandle key = 0;
  const auto sign = [&] {
    Mechanism mechanism = {static_cast<CK_MECHANISM_TYPE>(MechanismType::Ecdsa), nullptr, 0};
    const secure_string digest(32, 7);
    secure_string signature;
    (*module)->C_SignInit(session->handle(), &mechanism, key);
    (*module)->C_Sign(session->handle(), digest, signature);
  };
  const auto read = [&] {
    const Object object(*session, key);
    object.get_attribute_value(AttributeType::EcParams);
    object.get_attribute_value(AttributeType::Label);
  };
  return {microseconds_of([&] { module.emplace(module_of(m_kind)); }),
          microseconds_of([&] {
            slot.emplace(*module, Slot::get_available_slots(*module, true).front());
            session.emplace(*slot, false);
          }),
          microseconds_of([&] { session->login(UserType::User, pin); }),
          microseconds_of([&] { key = find_key(*session); }),
          microseconds_of(read),
          microseconds_of(sign),
          microseconds_of([&] { session.reset(); }),
          microseconds_of([&] { module.reset(); })};
}

double RawToken::generate_once() const {
  LoggedIn user(m_kind);
  std::array<ObjectHandle, 2> made{};
  const double time = microseconds_of([&] { made = make_key(user.session, "another"); });
  for (const ObjectHandle half : made) Object(user.session, half).destroy();
  return time;
}

}  // namespace bench
