// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>

#include <algorithm>
#include <tuple>

#include "base/return_value_name.h"
#include "module_trials.h"
#include "scratch_backend.h"
#include "scratch_keys.h"
#include "shared/object_attributes.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Handles = std::vector<ObjectHandle>;

std::string name_of(unsigned long code) { return tee_token::return_value_name(code); }

/// Whether the module keeps clients apart is what is to be found out: an identity that somebody needs is not
/// put at risk.
void require_no_identity(TokenSession& token) {
  AttributeContainer sought;
  sought.add_bool(kPermanent, true);
  for (const ObjectHandle handle : token.find(sought)) {
    if (text_of(Object(token.session(), handle), TEE_CKA_VENDOR_CLIENT_ID) != kScratchIdentity.client) {
      throw TrialEnd({Verdict::kNotTried,
                      "an identity is installed, which a faulty module could destroy; use a "
                      "token without one"});
    }
  }
}

/// Public key, private key and chain, and the certificate of the key.
struct Identity {
  Handles handles;
  Botan::X509_Certificate certificate;
};

/// What waits for its installation, made as the library does.
Identity make_temporary(Trial& trial, TokenSession& token, ScratchBackend& backend) {
  const ScratchPair pair = make_pair(trial, token, kScratchIdentity);
  trial.step("a request for a certificate");
  const Botan::X509_Certificate certificate = backend.certify(pair.second);
  trial.step("C_CreateObject of a chain");
  const PKCS11_TSG_CertficateChain chain(token.session(),
                                         chain_creation(kScratchIdentity, backend.chain_of(certificate)));
  return {{pair.first.handle(), pair.second.handle(), chain.handle()}, certificate};
}

/// One of each, else the trial is over.
Handles the_one_identity(const Trial& trial, TokenSession& token, bool permanent) {
  Handles all;
  for (const auto& search : {public_key_search, private_key_search, chain_search}) {
    const Handles found = token.find(search(kScratchIdentity, permanent));
    trial.require(found.size() == 1, std::to_string(found.size()) + " objects of a class are " +
                                         (permanent ? "installed" : "temporary") + " instead of 1");
    all.push_back(found.front());
  }
  return all;
}

void require_serving(Trial& trial, TokenSession& token, const Botan::X509_Certificate& certificate) {
  const Handles installed = the_one_identity(trial, token, true);
  const std::vector<std::uint8_t> message = {'m'};
  const auto key = certificate.load_subject_public_key();
  const auto signature = sign(PKCS11_ECDSA_PrivateKey(token.session(), installed[1]), message);
  trial.require(verifies(dynamic_cast<const Botan::EC_PublicKey&>(*key), message, signature),
                "the installed key is not the certificate's");
  const auto chain = PKCS11_TSG_CertficateChain(token.session(), installed[2]).getx509CertificateChain();
  trial.require(!chain.empty() && chain.front() == certificate, "the installed chain is another one");
}

/// Installs an identity of a new key in the place of the installed one, and destroys the temporary objects.
Identity install(Trial& trial, TokenSession& token, ScratchBackend& backend, const Handles& installed) {
  const Identity added = make_temporary(trial, token, backend);
  trial.step(installed.empty() ? "the first installation" : "an installation in the place of another");
  const unsigned long code = setClientCertAndMoveKey(token.session(), installed, added.handles);
  trial.require(code == CKR_OK, name_of(code));
  trial.require(the_one_identity(trial, token, false) == added.handles,
                "the temporary objects are other ones");
  require_serving(trial, token, added.certificate);
  for (const ObjectHandle handle : added.handles) {
    Object(token.session(), handle).destroy();
  }
  require_serving(trial, token, added.certificate);
  return {the_one_identity(trial, token, true), added.certificate};
}

/// All that is there of the scratch identity, in the order of the handles.
std::vector<std::tuple<ObjectHandle, bool, std::vector<std::uint8_t>>> snapshot(TokenSession& token) {
  AttributeContainer sought;
  sought.add_string(kClientId, kScratchIdentity.client);
  std::vector<std::tuple<ObjectHandle, bool, std::vector<std::uint8_t>>> all;
  for (const ObjectHandle handle : token.find(sought)) {
    const Object object(token.session(), handle);
    const auto content = value_of(object, CKA_VALUE);
    all.emplace_back(handle, is_true(object, TEE_CKA_VENDOR_PERMANENT),
                     content.empty() ? value_of(object, CKA_EC_POINT) : content);
  }
  std::sort(all.begin(), all.end());
  return all;
}

}  // namespace

Judgement try_interface(Trial& trial) {
  Botan::Dynamically_Loaded_Library library(trial.target().module);
  TEE_C_GetInterface get = nullptr;
  try {
    get = library.resolve<TEE_C_GetInterface>("C_GetInterface");
  } catch (const Botan::Exception&) {
    return {Verdict::kMissing, "there is no C_GetInterface"};
  }
  unsigned char name[] = TEE_INTERFACE_NAME;
  TEE_INTERFACE* interface = nullptr;
  const CK_RV code = get(name, nullptr, &interface, 0);
  if (code != CKR_OK || interface == nullptr) {
    return {Verdict::kMissing, "C_GetInterface of '" TEE_INTERFACE_NAME "': " + name_of(code)};
  }
  const auto* const functions = static_cast<const TEE_FUNCTION_LIST*>(interface->functions);
  trial.step("C_GetInterface");
  trial.require(functions != nullptr && functions->version.major == 1 &&
                    functions->set_client_cert_and_move_key != nullptr,
                "the list is not one of version 1 with set_client_cert_and_move_key");
  return {Verdict::kOk, ""};
}

Judgement try_installation(Trial& trial) {
  ScratchSession user(trial);
  ScratchBackend backend;
  require_no_identity(user);
  const Identity first = install(trial, user, backend, {});
  const Identity second = install(trial, user, backend, first.handles);
  for (const ObjectHandle old : first.handles) {
    trial.require(std::count(second.handles.begin(), second.handles.end(), old) == 0,
                  "an object of the old identity is still installed");
  }
  return {Verdict::kOk, ""};
}

Judgement try_refusals(Trial& trial) {
  ScratchSession user(trial);
  ScratchBackend backend;
  require_no_identity(user);
  const Identity installed = install(trial, user, backend, {});
  const Handles added = make_temporary(trial, user, backend).handles;
  const Handles others = make_temporary(trial, user, backend).handles;
  const struct {
    const char* name;
    Handles installed, added;
  } cases[] = {
      {"a chain for another key", installed.handles, {added[0], added[1], others[2]}},
      {"a public key of another pair", installed.handles, {others[0], added[1], added[2]}},
      {"an identity without chain", installed.handles, {added[0], added[1]}},
      {"an identity without private key", installed.handles, {added[0], added[2]}},
      {"an installation that does not name what is installed", {}, added},
      {"an installation that names a part of what is installed", {installed.handles[0]}, added},
  };
  const auto before = snapshot(user);
  for (const auto& each : cases) {
    trial.step(each.name);
    const unsigned long code = setClientCertAndMoveKey(user.session(), each.installed, each.added);
    trial.require(code != CKR_OK, "was not refused");
    trial.require(snapshot(user) == before, "was refused (" + name_of(code) + "), and something was changed");
  }
  require_serving(trial, user, installed.certificate);
  return {Verdict::kOk, ""};
}

}  // namespace tee_token_admin
