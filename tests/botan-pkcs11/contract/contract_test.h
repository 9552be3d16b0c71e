// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/auto_rng.h>
#include <botan/p11_ecdsa.h>
#include <botan/pubkey.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "botan-pkcs11/layer_test.h"
#include "support/temporary_folder.h"

/// A token, and what it can do of that in which tokens differ. Tests of what not every token can do are
/// instantiated for those that can. Without a test here, since SoftHSM lacks them: dates of private objects,
/// the refusal of keys that are not on their curve, and that a C_CreateObject that failed leaves nothing.
struct Token {
  const char* name;
  const char* module;
  std::map<std::string, MechanismType> hashes;  // of messages that it signs; none: it signs digests only
  bool slot_can_be_empty;  // otherwise there is always a token, which may wait for its initialization

  bool signs_messages() const { return !hashes.empty(); }
  bool signs_digests_only() const { return hashes.empty(); }
};

inline const std::vector<Token> kAllTokens = {
    {"teetoken",
     BUILT_TOKEN,
     {{"SHA-256", MechanismType::EcdsaSha256},
      {"SHA-384", MechanismType::EcdsaSha384},
      {"SHA-512", MechanismType::EcdsaSha512}},
     true},
    {"SoftHSM", SOFTHSM, {}, false},
};

template <typename Ability>
std::vector<Token> tokens_with(Ability ability) {
  std::vector<Token> tokens;
  std::copy_if(kAllTokens.begin(), kAllTokens.end(), std::back_inserter(tokens), std::mem_fn(ability));
  return tokens;
}

inline void PrintTo(const Token& token, std::ostream* out) { *out << token.name; }

/// Runs the tests of the suite on the tokens.
#define ON_TOKENS(suite, tokens)                                       \
  INSTANTIATE_TEST_SUITE_P(Contract, suite, testing::ValuesIn(tokens), \
                           [](const auto& each) { return each.param.name; })

/// What the statement throws: ReturnValue::code.
#define EXPECT_CODE(code, ...) EXPECT_EQ(error_of([&] { __VA_ARGS__; }), ReturnValue::code)

using Bytes = Botan::secure_vector<uint8_t>;
constexpr const char* kCurves[] = {"secp256r1", "secp384r1", "secp521r1"};

/// A module of the parameter whose token is not initialized yet.
class NewTokenTest : public testing::TestWithParam<Token> {
 protected:
  static const char* prepare(const std::filesystem::path& folder) {
    for (const std::string name : {"tee", "softhsm"}) {
      std::filesystem::create_directory(folder / name);
      std::filesystem::permissions(folder / name, std::filesystem::perms::owner_all);
    }
    std::ofstream(folder / "conf") << "directories.tokendir = " << (folder / "softhsm").string() << '\n';
    ::setenv("SOFTHSM2_CONF", (folder / "conf").c_str(), 1);
    ::setenv("TEE_TOKEN_DIR", (folder / "tee").c_str(), 1);
    return GetParam().module;
  }

  Slot first_slot() { return Slot(module, Slot::get_available_slots(module, true).at(0)); }
  static CK_STATE state_of(const Session& session) { return session.get_info().state; }

  const test_support::TemporaryFolder folder;
  const Bytes so_pin = secret("87654321"), pin = secret(std::string("12345678\0", 9));
  Botan::AutoSeeded_RNG rng;
  Module module{prepare(folder.path())};
};

/// An initialized token, without sessions.
class TokenTest : public NewTokenTest {
 protected:
  Slot initialized() {
    Slot blank = first_slot();
    initialize_token(blank, "contract", so_pin, pin);
    module.reload();  // an initialized token may be in another slot
    return first_slot();
  }

  Slot slot = initialized();
};

/// A read-write session with the token, logged in as its user.
class UserTest : public TokenTest {
 protected:
  UserTest() { session.login(UserType::User, pin); }

  static std::vector<uint8_t> params(const Botan::EC_Group& group) {
    return group.DER_encode(Botan::EC_DOMPAR_ENC_OID);
  }

  PKCS11_ECDSA_KeyPair generate(const std::string& curve = "secp256r1") {
    EC_PrivateKeyGenerationProperties private_props;
    private_props.set_sensitive(true);
    private_props.set_extractable(false);
    const EC_PublicKeyGenerationProperties public_props(params(Botan::EC_Group(curve)));
    auto pair = generate_ecdsa_keypair(session, public_props, private_props);
    pair.second.set_public_point(pair.first.public_point());
    return pair;
  }

  static DataObjectProperties data(const std::string& label, bool is_private = false) {
    DataObjectProperties properties;
    properties.set_label(label);
    properties.set_value(secret("value of " + label));
    properties.set_private(is_private);
    return properties;
  }

  static EC_PublicKeyImportProperties public_half(const Botan::EC_Group& group,
                                                  const Botan::PointGFp& point) {
    return {params(group), octet_string(point.encode(Botan::PointGFp::UNCOMPRESSED))};
  }

  /// Of a key that may be read.
  static EC_PrivateKeyImportProperties private_half(const Botan::EC_Group& group,
                                                    const Botan::BigInt& scalar) {
    EC_PrivateKeyImportProperties properties(params(group), scalar);
    properties.set_sensitive(false);
    properties.set_extractable(true);
    return properties;
  }

  /// How many objects there are with these attributes; up to 100.
  size_t count(const AttributeContainer& attributes) {
    return ObjectFinder(session, attributes.attributes()).find().size();
  }

  Session session{slot, false};
  const Botan::EC_Group group{"secp256r1"};
};
