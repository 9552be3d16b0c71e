// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>
#include <botan/p11_trust_store_group.h>

#include <algorithm>

#include "base/error.h"
#include "marked_objects.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

std::string name_of(unsigned long code) { return tee_token::return_value_name(code); }

/// A module that does not keep clients apart could destroy an identity that somebody needs.
void require_no_identity(TokenSession& token) {
  AttributeContainer sought;
  sought.add_bool(kPermanent, true);
  if (!token.find(sought).empty()) {
    throw TrialEnd{{Verdict::kNotTried,
                    "an identity is installed, which a faulty module could destroy; use a token without "
                    "one, for instance: TEE_TOKEN_DIR=$(mktemp -d) tee-token init"}};
  }
}

/// Handles of a public key, a private key and a chain, and the certificate of the key.
struct Identity {
  Handles handles;
  Botan::X509_Certificate certificate;
};

/// Makes a temporary identity as the library does.
Identity make_temporary(Trial& trial, TokenSession& token) {
  Handles handles = generate(trial, token);
  PKCS11_ECDSA_PrivateKey key(token.session(), handles[1]);
  key.set_public_point(PKCS11_ECDSA_PublicKey(token.session(), handles[0]).public_point());
  key.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  key.set_point_encoding(Botan::PointGFp::UNCOMPRESSED);
  trial.step("a request for a certificate");
  const auto certificates = certificates_for(key);
  handles.push_back(create(trial, token, "a chain", chain_template(trial.mark(), certificates)));
  return {handles, certificates.front()};
}

/// Finds one object of each class, else ends the trial.
Handles the_one_identity(const Trial& trial, TokenSession& token, bool permanent) {
  Handles all;
  for (const auto& search :
       {library::lyrPublicKeySearch, library::lyrPrivateKeySearch, library::lyrCertificateChainSearch}) {
    const Handles found = token.find(marked(search(permanent), trial.mark()));
    trial.require(found.size() == 1, std::to_string(found.size()) + " objects of a class are " +
                                         (permanent ? "installed" : "temporary") + " instead of 1");
    all.push_back(found.front());
  }
  return all;
}

void require_active(Trial& trial, TokenSession& token, const Botan::X509_Certificate& certificate) {
  const Handles installed = the_one_identity(trial, token, true);
  const std::vector<std::uint8_t> message = {'m'};
  const auto key = certificate.load_subject_public_key();
  const auto signature = signature_of(PKCS11_ECDSA_PrivateKey(token.session(), installed[1]), message);
  trial.require(verifies(dynamic_cast<const Botan::EC_PublicKey&>(*key), message, signature),
                "the installed key is not the certificate's");
  const auto chain = PKCS11_TSG_CertficateChain(token.session(), installed[2]).getx509CertificateChain();
  trial.require(!chain.empty() && chain.front() == certificate, "the installed chain is another one");
}

/// Installs an identity of a new key in the place of the installed one, and destroys the temporary objects.
Identity install(Trial& trial, TokenSession& token, const Handles& installed) {
  const Identity added = make_temporary(trial, token);
  trial.step(installed.empty() ? "the first installation" : "an installation in the place of another");
  const unsigned long code = setClientCertAndMoveKey(token.session(), installed, added.handles);
  trial.require(code == CKR_OK, name_of(code));
  trial.require(the_one_identity(trial, token, false) == added.handles, "the temporary objects have changed");
  require_active(trial, token, added.certificate);
  for (const ObjectHandle handle : added.handles) {
    Object(token.session(), handle).destroy();
  }
  require_active(trial, token, added.certificate);
  return {the_one_identity(trial, token, true), added.certificate};
}

}  // namespace

Judgement has_the_vendor_interface(Trial& trial) {
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
  return {};
}

Judgement installs_identities(Trial& trial) {
  UserSession user(trial);
  require_no_identity(user);
  const Identity first = install(trial, user, {});
  const Identity second = install(trial, user, first.handles);
  for (const ObjectHandle old : first.handles) {
    trial.require(std::count(second.handles.begin(), second.handles.end(), old) == 0,
                  "an object of the old identity is still installed");
  }
  return {};
}

Judgement refuses_incomplete_identities(Trial& trial) {
  UserSession user(trial);
  require_no_identity(user);
  const Identity installed = install(trial, user, {});
  const Handles added = make_temporary(trial, user).handles;
  const Handles others = make_temporary(trial, user).handles;
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
  const Handles before = user.find(labelled(trial.mark().label()));
  for (const auto& each : cases) {
    trial.step(each.name);
    const unsigned long code = setClientCertAndMoveKey(user.session(), each.installed, each.added);
    trial.require(code != CKR_OK, "was not refused");
    trial.require(user.find(labelled(trial.mark().label())) == before,
                  "was refused (" + name_of(code) + "), and something was changed");
    require_active(trial, user, installed.certificate);
  }
  return {};
}

}  // namespace tee_token_admin
