// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_x509.h>

#include "base/return_value_name.h"
#include "module_trials.h"
#include "module_witness.h"
#include "scratch_backend.h"
#include "scratch_keys.h"
#include "shared/object_attributes.h"
#include "shared/trust_group.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

constexpr std::uint32_t kAtOnce = 100;  // the library asks for so many

/// The text form of the label and its class, as the library looks for what a device is delivered with.
std::vector<ObjectHandle> find(TokenSession& token, const std::string& label, ObjectClass object_class) {
  AttributeContainer sought = labelled(label);
  sought.add_class(object_class);
  return token.find(sought);
}

/// Adds one vendor attribute, with its value or with another one.
struct VendorAttribute {
  const char* name;
  void (*add)(AttributeContainer& container, bool other);
};

constexpr VendorAttribute kVendorAttributes[] = {
    {"0x80001002", [](auto& to, bool other) { to.add_string(kKeyId, other ? "other" : "key"); }},
    {"0x80001003", [](auto& to, bool other) { to.add_string(kClientId, other ? "other" : "client"); }},
    {"0x80001004", [](auto& to, bool other) { to.add_bool(kPermanent, other); }},
    {"0x80001005", [](auto& to, bool other) { to.add_string(kTrustStoreGroup, other ? "other" : "group"); }},
};

void require_search(Trial& trial, TokenSession& token, const VendorAttribute& attribute) {
  for (const bool other : {false, true}) {
    AttributeContainer sought = labelled(kScratchCertificate);
    attribute.add(sought, other);
    trial.step(std::string("a search for ") + (other ? "another value of " : "") + attribute.name);
    const std::size_t found = token.find(sought).size();
    trial.require(found == (other ? 0 : 1), "finds " + std::to_string(found) + " objects");
  }
}

/// A wrong PIN would cost one of the security officer's tries; without him nothing can be said.
void log_in_as_officer(Trial& trial, TokenSession& token) {
  const CK_FLAGS flags = token.session().slot().get_token_info().flags;
  const bool guessed = trial.target().so_pin_hex.empty();
  const CK_FLAGS hopeless = CKF_SO_PIN_LOCKED | CKF_SO_PIN_FINAL_TRY | (guessed ? CKF_SO_PIN_COUNT_LOW : 0);
  try {
    if ((flags & hopeless) != 0) {
      throw PKCS11_ReturnError(ReturnValue::PinIncorrect);
    }
    token.login(UserType::SO);
  } catch (const PKCS11_ReturnError& error) {
    const CK_RV code = static_cast<CK_RV>(error.get_return_value());
    throw TrialEnd(
        {Verdict::kNotTried, "login of the security officer: " + tee_token::return_value_name(code) +
                                 "; his PIN can be given with --so-pin-hex"});
  }
}

void make_trust_group(Trial& trial, const Botan::X509_Certificate& certificate) {
  TokenSession officer(trial.target());
  log_in_as_officer(trial, officer);
  const RefusedRemains remains(officer);
  const auto add_owner = [](StorageObjectProperties& object) {
    object.set_token(true);
    object.set_private(false);
    object.add_string(kClientId, kScratchIdentity.client);
  };
  X509_CertificateProperties root(certificate);
  add_owner(root);
  root.set_trusted(true);
  root.add_binary(AttributeType::Label, encode_label(kScratchCertificate));
  root.add_string(kTrustStoreGroup, kScratchGroup);
  trial.step("C_CreateObject of a trusted certificate, as security officer");
  const Object stored_root(officer.session(), root);
  StorageObjectProperties group(static_cast<ObjectClass>(TEE_CKO_TRUST_STORE_GROUP));
  add_owner(group);
  group.set_label(kScratchGroup);
  trial.step("C_CreateObject of a group, as security officer");
  const Object stored_group(officer.session(), group);
}

void require_unknown(Trial& trial, TokenSession& token, const std::string& group, const std::string& client) {
  try {
    const PKCS11_TrustStoreGroup_Store store(token.session(), group, client);
  } catch (const Botan::Lookup_Error&) {
    return;
  }
  trial.require(false, "group '" + group + "' of client '" + client + "' is found, and was not stored");
}

/// The handle is one of nothing.
void require_gone(Trial& trial, TokenSession& token, ObjectHandle handle) {
  try {
    Object(token.session(), handle).get_attribute_value(AttributeType::Class);
  } catch (const PKCS11_ReturnError&) {
    return;
  }
  trial.require(false, "its handle still reads");
}

}  // namespace

Judgement try_data(Trial& trial) {
  ScratchSession user(trial);
  const ScratchBackend backend;
  trial.step("C_CreateObject of data");
  const ObjectHandle data = make_data(user, "VIN");
  trial.step("C_CreateObject of a certificate");
  const ObjectHandle certificate = make_certificate(user, backend.root());
  trial.step("the library's search for data");
  trial.require(find(user, kScratchData, ObjectClass::Data) == std::vector<ObjectHandle>{data},
                "does not find it");
  trial.require(text_of(Object(user.session(), data), CKA_VALUE) == "VIN", "its value is another one");
  trial.step("the library's search for a certificate");
  trial.require(
      find(user, kScratchCertificate, ObjectClass::Certificate) == std::vector<ObjectHandle>{certificate},
      "does not find it");
  trial.require(PKCS11_X509_Certificate(user.session(), certificate) == backend.root(),
                "its value is another one");
  return {Verdict::kOk, ""};
}

Judgement try_vendor_attributes(Trial& trial) {
  ScratchSession user(trial);
  X509_CertificateProperties object(ScratchBackend().root());
  object.set_token(true);
  object.set_private(false);
  object.add_binary(AttributeType::Label, encode_label(kScratchCertificate));
  for (const VendorAttribute& attribute : kVendorAttributes) {
    attribute.add(object, false);
  }
  trial.step("C_CreateObject of a certificate with the four");
  const Object certificate(user.session(), object);
  trial.step("C_GetAttributeValue");
  require_attributes(trial, certificate, object);
  for (const VendorAttribute& attribute : kVendorAttributes) {
    require_search(trial, user, attribute);
  }
  return {Verdict::kOk, ""};
}

Judgement try_chain(Trial& trial) {
  ScratchSession user(trial);
  ScratchBackend backend;
  const Botan::X509_Certificate leaf = backend.certify_another_key();
  const auto properties = chain_creation(kScratchIdentity, backend.chain_of(leaf));
  trial.step("C_CreateObject of a chain");
  const PKCS11_TSG_CertficateChain chain(user.session(), properties);
  trial.step("C_GetAttributeValue");
  require_attributes(trial, chain, properties);
  trial.step("the library's search for the chain");
  const std::vector<ObjectHandle> found = user.find(chain_search(kScratchIdentity, false));
  trial.require(found == std::vector<ObjectHandle>{chain.handle()}, "does not find it");
  trial.require(chain.getx509CertificateChain() == std::vector<Botan::X509_Certificate>{leaf, backend.root()},
                "its certificates are other ones");
  return {Verdict::kOk, ""};
}

Judgement try_many_results(Trial& trial) {
  ScratchSession user(trial);
  trial.step("C_CreateObject, " + std::to_string(kAtOnce + 1) + " times");
  for (std::uint32_t i = 0; i <= kAtOnce; ++i) {
    make_data(user, std::to_string(i));
  }
  ObjectFinder finder(user.session(), labelled(kScratchData).attributes());
  for (const std::size_t wanted : {std::size_t{kAtOnce}, std::size_t{1}, std::size_t{0}}) {
    const std::size_t found = finder.find(kAtOnce).size();
    trial.step("C_FindObjects");
    trial.require(found == wanted, std::to_string(found) + " results instead of " + std::to_string(wanted));
  }
  return {Verdict::kOk, ""};
}

Judgement try_trust_group(Trial& trial) {
  const ScratchBackend backend;
  make_trust_group(trial, backend.root());
  ScratchSession user(trial);
  trial.step("reading a group");
  PKCS11_TrustStoreGroup_Store store(user.session(), kScratchGroup, kScratchIdentity.client);
  trial.require(
      store.GetRootCertBundle(user.session()) == std::vector<Botan::X509_Certificate>{backend.root()},
      "other certificates than were stored");
  require_unknown(trial, user, "tee-token check-module 2", kScratchIdentity.client);
  require_unknown(trial, user, kScratchGroup, "tee-token check-module 2");
  return {Verdict::kOk, ""};
}

Judgement try_second_process(Trial& trial) {
  const ModuleWitness witness(trial.target());
  ScratchSession user(trial);
  const auto require_seen = [&](int count) {
    const int seen = witness.count();
    trial.require(seen == count, seen < 0 ? "the second process fails"
                                          : "the second process finds " + std::to_string(seen) + " objects");
  };
  trial.step("before C_CreateObject");
  require_seen(0);
  const ObjectHandle data = make_data(user, "seen");
  trial.step("after C_CreateObject");
  require_seen(1);
  Object(user.session(), data).destroy();
  trial.step("after C_DestroyObject");
  require_seen(0);
  return {Verdict::kOk, ""};
}

Judgement try_destroy(Trial& trial) {
  ScratchSession user(trial);
  const ScratchPair pair = make_pair(trial, user, kScratchKeys);
  const std::pair<std::string, ObjectHandle> objects[] = {
      {kScratchKeys.private_key, pair.second.handle()},
      {kScratchKeys.public_key, pair.first.handle()},
      {kScratchData, make_data(user, "data")},
      {kScratchCertificate, make_certificate(user, ScratchBackend().root())},
  };
  for (const auto& [label, handle] : objects) {
    trial.step("C_DestroyObject");
    Object(user.session(), handle).destroy();
    trial.step("after C_DestroyObject");
    trial.require(user.find(labelled(label)).empty(), "it is still found");
    require_gone(trial, user, handle);
  }
  return {Verdict::kOk, ""};
}

}  // namespace tee_token_admin
