// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>

#include "base/error.h"
#include "child_process.h"
#include "marked_objects.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

/// Ends the trial as not tried when a wrong PIN could cost one of the security officer's last tries.
void log_in_as_officer(const Trial& trial, TokenSession& token) {
  const CK_FLAGS flags = token.session().slot().get_token_info().flags;
  const bool guessed = trial.target().so_pin_hex.empty();
  const CK_FLAGS risks = CKF_SO_PIN_LOCKED | CKF_SO_PIN_FINAL_TRY | (guessed ? CKF_SO_PIN_COUNT_LOW : 0);
  const CK_RV code =
      (flags & risks) != 0 ? CKR_PIN_INCORRECT : return_value_of([&] { token.login(UserType::SO); });
  if (code != CKR_OK) {
    throw TrialEnd{
        {Verdict::kNotTried, "login of the security officer: " + tee_token::return_value_name(code) +
                                 "; give the PIN with --so-pin-hex"}};
  }
}

template <typename Properties>
void add_owner(Properties& object, const Mark& mark) {
  object.set_token(true);
  object.set_private(false);
  object.add_string(kClientId, mark.client());
}

void create_trust_group(Trial& trial, const Botan::X509_Certificate& certificate) {
  const Mark mark = trial.mark();
  TokenSession officer(trial.target());
  log_in_as_officer(trial, officer);
  X509_CertificateProperties root(certificate);
  add_owner(root, mark);
  root.set_trusted(true);
  root.add_binary(AttributeType::Label, mark.label());
  root.add_string(kTrustStoreGroup, mark.client());
  create(trial, officer, "a trusted certificate, as security officer", root);
  StorageObjectProperties group(static_cast<ObjectClass>(TEE_CKO_TRUST_STORE_GROUP));
  add_owner(group, mark);
  group.set_label(mark.client());
  create(trial, officer, "a group, as security officer", group);
}

void require_unknown(const Trial& trial, TokenSession& token, const std::string& group,
                     const std::string& client) {
  try {
    const PKCS11_TrustStoreGroup_Store store(token.session(), group, client);
  } catch (const Botan::Lookup_Error&) {
    return;
  }
  trial.require(false, "finds group '" + group + "' of client '" + client + "', which was not stored");
}

Judgement log_in_and_answer(Trial& trial, int parent) {
  UserSession user(trial);
  send_message(parent, "logged in");
  while (receive_message(parent)) {
    send_message(parent,
                 "finds " + std::to_string(user.find(labelled(trial.mark().label())).size()) + " objects");
  }
  return {};
}

/// A session in another process, which reports at each message how many objects with the mark it finds.
void run_second_process(Trial trial, int parent) {
  const Judgement judgement = trial.judge([&](Trial& own) { return log_in_and_answer(own, parent); });
  if (!judgement.holds()) {
    send_message(parent, judgement.text);
  }
}

void require_answer(const Trial& trial, ChildProcess& second, const std::string& wanted) {
  const auto answer = receive_message(second.socket());
  trial.require(answer == wanted, "second process: " + (answer ? *answer : second.wait()));
}

}  // namespace

Judgement keeps_trust_groups(Trial& trial) {
  const Botan::X509_Certificate root = certificates_for_another_key().back();
  create_trust_group(trial, root);
  UserSession user(trial);
  const std::string client = trial.mark().client(), &group = client;
  trial.step("reading a group");
  PKCS11_TrustStoreGroup_Store store(user.session(), group, client);
  trial.require(store.GetRootCertBundle(user.session()) == std::vector<Botan::X509_Certificate>{root},
                "other certificates than were stored");
  require_unknown(trial, user, group + " 2", client);
  require_unknown(trial, user, group, client + " 2");
  return {};
}

// The second process starts before this one loads the module, and logs in before this one does.
Judgement shows_changes_to_a_second_process(Trial& trial) {
  ChildProcess second([&](int parent) { run_second_process(trial, parent); });
  trial.step("before C_CreateObject");
  require_answer(trial, second, "logged in");
  UserSession user(trial);
  const auto require_count = [&](const std::string& step, int count) {
    trial.step(step);
    send_message(second.socket(), "count");
    require_answer(trial, second, "finds " + std::to_string(count) + " objects");
  };
  require_count("before C_CreateObject", 0);
  const ObjectHandle data = create_data(trial, user, "seen");
  require_count("after C_CreateObject", 1);
  Object(user.session(), data).destroy();
  require_count("after C_DestroyObject", 0);
  return {};
}

}  // namespace tee_token_admin
