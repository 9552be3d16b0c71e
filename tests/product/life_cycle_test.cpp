// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <iterator>

#include "api/product_test.h"
#include "life_cycle_model.h"
#include "support/long_run.h"
#include "support/spytoken.h"
#include "support/token_snapshot.h"
#include "token_content.h"

namespace ozk::tee {

using test_support::spytoken;
using test_support::TokenSnapshot;

namespace {

enum class Action {
  kGenerate,
  kRequest,
  kInstall,
  kInstallForAnotherKey,
  kInstallEmpty,
  kInstallGarbage,
  kDelete,
  kSignLyr,
  kSignBase,
  kReadAll,
  kKilledGenerate,
  kKilledInstall,
  kKilledDelete
};

constexpr std::pair<Action, const char*> kActions[] = {
    {Action::kGenerate, "generate"},
    {Action::kRequest, "request"},
    {Action::kInstall, "install"},
    {Action::kInstallForAnotherKey, "install for another key"},
    {Action::kInstallEmpty, "install empty"},
    {Action::kInstallGarbage, "install garbage"},
    {Action::kDelete, "delete"},
    {Action::kSignLyr, "sign LYR"},
    {Action::kSignBase, "sign BASE"},
    {Action::kReadAll, "read all"},
    {Action::kKilledGenerate, "killed generate"},
    {Action::kKilledInstall, "killed install"},
    {Action::kKilledDelete, "killed delete"}};

const Bytes kData = {1, 2, 3};
constexpr int kEndedByItself = 1;

/// Of each kind, nothing in `after` that is not in `before`.
bool isPartOf(const ObjectSet& after, const ObjectSet& before) {
  return std::equal(after.begin(), after.end(), before.begin(), [](const auto& some, const auto& all) {
    return std::includes(all.begin(), all.end(), some.begin(), some.end());
  });
}

ObjectSet numbersAbove(const ObjectSet& set, unsigned long last) {
  ObjectSet newer;
  for (std::size_t kind = 0; kind < set.size(); ++kind) {
    std::copy_if(set[kind].begin(), set[kind].end(), std::back_inserter(newer[kind]),
                 [last](unsigned long handle) { return handle > last; });
  }
  return newer;
}

bool isOneOfEach(const ObjectSet& set, bool with_chain) {
  return set[0].size() == 1 && set[1].size() == 1 && set[2].size() == (with_chain ? 1u : 0u);
}

}  // namespace

/// All sequences of actions, each step beside the model.
class LifeCycleTest : public ProductTest {
 protected:
  void walkFrom(const std::vector<Action>& start, unsigned depth);
  void walk(unsigned depth, const LifeCycleModel& model, const std::string& path);
  void act(Action action, LifeCycleModel& model);
  void actAndCompare(Action action, LifeCycleModel& model);
  void install(const std::string& pem, const std::string& certified_key, LifeCycleModel& model);
  std::function<void()> operationOf(Action action, const LifeCycleModel& model);
  bool killDuring(Action action, LifeCycleModel& model, unsigned nth, bool after);
  void adopt(const TokenContent& before, const TokenContent& after, LifeCycleModel& model, Action action);
  void compare(LifeCycleModel& model);
  void compareKeys(LifeCycleModel& model);
  void compareDevice();
  std::string chainFor(const LifeCycleModel& model);

  LifeCycleTest() {
    test_support::addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
    others = TokenContent::now().others;
  }

  std::string base_key = importBaseKey();
  std::string other_chain = authority.root().PEM_encode();
  std::vector<unsigned long> others;
  std::size_t steps = 0, sequences = 0, kills = 0;
  unsigned attempts = 0;
};

/// What a backend certifies now: the waiting key, or one of its own.
std::string LifeCycleTest::chainFor(const LifeCycleModel& model) {
  const Bytes request = product->generate_csr("device", "LYR_CSR");
  EXPECT_EQ(request.empty(), !model.temporary.isWhole());
  return request.empty() ? other_chain : authority.issue(request).PEM_encode();
}

void LifeCycleTest::install(const std::string& pem, const std::string& certified_key, LifeCycleModel& model) {
  EXPECT_EQ(product->set_client_cert_and_move_key(pem, "LYR_CSR", "LYR"), model.install(certified_key));
}

void LifeCycleTest::act(Action action, LifeCycleModel& model) {
  switch (action) {
    case Action::kGenerate:
      EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
      return model.generate();
    case Action::kRequest:
      chainFor(model);
      return;
    case Action::kInstall:
      return install(chainFor(model), model.temporary.isWhole() ? model.temporary.key : "another", model);
    case Action::kInstallForAnotherKey:
      return install(other_chain, "another", model);
    case Action::kInstallEmpty:
      return install("", "", model);
    case Action::kInstallGarbage:
      return install("-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n", "", model);
    case Action::kDelete:
      EXPECT_EQ(product->set_client_cert_and_move_key("", "", "LYR"), ResultCode::OK);
      return model.remove();
    case Action::kSignLyr:
      EXPECT_EQ(product->generate_signature("LYR", kData, "").empty(), !model.installed.has_private);
      return;
    case Action::kSignBase:
      EXPECT_TRUE(verifies(base_key, kData, product->generate_signature("BASE", kData, "")));
      return;
    case Action::kReadAll:
      return compareDevice();  // and what is compared after each step
    case Action::kKilledGenerate:
    case Action::kKilledInstall:
    case Action::kKilledDelete: {
      const unsigned nth =
          7 + attempts / 2 * 7 % 30;  // the calls before the seventh concern the session alone
      killDuring(action, model, nth, attempts++ % 2 == 0);
      return;
    }
  }
}

void LifeCycleTest::compareDevice() {
  EXPECT_EQ(product->get_zemp_vin() + product->get_client_cert("ZEMP") + product->get_client_cert("BASE"),
            "");
  EXPECT_EQ(product->get_root_cert_bundle("group"), authority.root().PEM_encode());
}

std::function<void()> LifeCycleTest::operationOf(Action action, const LifeCycleModel& model) {
  if (action == Action::kKilledGenerate) return [this] { product->generate_private_key("LYR_CSR"); };
  if (action == Action::kKilledDelete)
    return [this] { product->set_client_cert_and_move_key("", "", "LYR"); };
  return [this, chain = chainFor(model)] { product->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR"); };
}

/// Has a process do it that dies at its `nth` token call, from 1; returns whether it came to that.
bool LifeCycleTest::killDuring(Action action, LifeCycleModel& model, unsigned nth, bool after) {
  const TokenContent before = TokenContent::now();
  const auto operation = operationOf(action, model);
  const pid_t child = ::fork();
  if (child == 0) {
    test_support::Interference death;
    death.nth = nth;
    death.after = after;
    death.ends_process = true;
    spytoken().interfere(death);
    operation();
    ::_exit(kEndedByItself);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  const bool ended = WIFEXITED(status) && WEXITSTATUS(status) == kEndedByItself;
  EXPECT_TRUE(ended || status == 0) << status;
  kills += ended ? 0 : 1;
  adopt(before, TokenContent::now(), model, action);
  return !ended;
}

/// Takes over what such a process left, if it is one of the things that it may leave.
void LifeCycleTest::adopt(const TokenContent& before, const TokenContent& after, LifeCycleModel& model,
                          Action action) {
  unsigned long last = 0;
  for (const ObjectSet* set : {&before.installed, &before.temporary}) {
    for (const auto& kind : *set) last = std::max(last, kind.empty() ? 0 : kind.back());
  }
  last = std::max(last, before.others.back());
  const ObjectSet newly_installed = numbersAbove(after.installed, last),
                  new_ones = numbersAbove(after.temporary, last);
  if (action == Action::kKilledDelete) {
    EXPECT_TRUE(isPartOf(after.installed, before.installed));
    EXPECT_EQ(after.temporary, before.temporary);
  } else if (action == Action::kKilledGenerate) {
    EXPECT_EQ(after.installed, before.installed);
    EXPECT_TRUE(isEmpty(new_ones) || isOneOfEach(new_ones, false));
  } else {
    EXPECT_TRUE(after.installed == before.installed ||
                (after.installed == newly_installed && isOneOfEach(newly_installed, true)));
    EXPECT_TRUE(new_ones[0].empty() && new_ones[1].empty() && new_ones[2].size() <= 1);
    // The waiting keys go when they are installed, and not before.
    const bool kept = after.temporary[0] == before.temporary[0] && after.temporary[1] == before.temporary[1];
    EXPECT_TRUE(kept || !model.temporary.isWhole() || after.installed != before.installed);
  }
  if (!isEmpty(newly_installed)) {
    model.installed.key = model.certified_key = model.temporary.key;
  }
  const std::string waiting =
      isEmpty(new_ones) || action != Action::kKilledGenerate ? model.temporary.key : "";
  model.temporary = {waiting, !after.temporary[0].empty(), !after.temporary[1].empty()};
  model.installed = {model.installed.key, !after.installed[0].empty(), !after.installed[1].empty()};
  model.has_chain = !after.installed[2].empty();
  if (!model.has_chain) model.certified_key.clear();
  model.stray_chains = static_cast<unsigned>(after.temporary[2].size());
}

void LifeCycleTest::compare(LifeCycleModel& model) {
  const TokenContent content = TokenContent::now();
  const auto one = [](bool is) { return std::size_t(is ? 1 : 0); };
  EXPECT_EQ(content.installed[0].size(), one(model.installed.has_public));
  EXPECT_EQ(content.installed[1].size(), one(model.installed.has_private));
  EXPECT_EQ(content.installed[2].size(), one(model.has_chain));
  EXPECT_EQ(content.temporary[0].size(), one(model.temporary.has_public));
  EXPECT_EQ(content.temporary[1].size(), one(model.temporary.has_private));
  EXPECT_EQ(content.temporary[2].size(), model.stray_chains);
  EXPECT_EQ(content.others, others);
  compareKeys(model);
}

void LifeCycleTest::compareKeys(LifeCycleModel& model) {
  const std::string waiting = publicKeyIfAny("LYR_CSR");
  if (model.temporary.has_public && model.temporary.key.empty()) model.temporary.key = waiting;
  EXPECT_EQ(waiting, model.temporary.has_public ? model.temporary.key : "");
  EXPECT_EQ(publicKeyIfAny("LYR"), model.installed.has_public ? model.installed.key : "");

  const std::string certificates = product->get_client_cert("LYR");
  EXPECT_EQ(certificates.empty() ? "" : certifiedKey(certificates), model.certified_key);
  const Bytes signature = product->generate_signature("LYR", kData, "");
  EXPECT_EQ(signature.empty(), !model.installed.has_private);
  if (signature.empty()) return;
  EXPECT_TRUE(verifies(model.installed.key, kData, signature));
  EXPECT_TRUE(certificates.empty() || model.certified_key == model.installed.key);
}

void LifeCycleTest::actAndCompare(Action action, LifeCycleModel& model) {
  act(action, model);
  compare(model);
  ++steps;
}

void LifeCycleTest::walk(unsigned depth, const LifeCycleModel& model, const std::string& path) {
  const TokenSnapshot here(token.folder());
  for (const auto& [action, name] : kActions) {
    const std::string reached = path + (path.empty() ? "" : ", ") + name;
    SCOPED_TRACE(reached);
    LifeCycleModel next = model;
    actAndCompare(action, next);
    if (HasFailure()) return;  // what follows would only repeat it
    if (depth == 1) {
      ++sequences;
    } else {
      walk(depth - 1, next, reached);
    }
    here.restore();
  }
}

void LifeCycleTest::walkFrom(const std::vector<Action>& start, unsigned depth) {
  const TokenSnapshot fresh(token.folder());
  LifeCycleModel model;
  for (const Action action : start) actAndCompare(action, model);
  walk(depth, model, "");
  fresh.restore();
}

TEST_F(LifeCycleTest, EverySequenceOfActionsAgreesWithTheModel) {
#ifdef CCI_SANITIZED
  const unsigned depth = 2;
#else
  const unsigned depth = test_support::isLongRun() ? 4 : 3;
#endif
  walkFrom({}, depth);
  // Sequences that begin with an identity, and in the middle of a rotation.
  walkFrom({Action::kGenerate, Action::kInstall}, depth - 1);
  walkFrom({Action::kGenerate, Action::kInstall, Action::kGenerate}, depth - 1);
  std::cout << "counted: " << sequences << " sequences of " << depth << " actions and more, " << steps
            << " steps, " << kills << " processes killed\n";
}

TEST_F(LifeCycleTest, WhateverCallAProcessDiesAtTheNextOneGoesOn) {
  LifeCycleModel model;
  for (const Action action : {Action::kGenerate, Action::kInstall, Action::kGenerate}) {
    actAndCompare(action, model);
  }
  const TokenSnapshot rotating(token.folder());
  const auto survives = [&](Action action, unsigned nth, bool after) {
    SCOPED_TRACE("call " + std::to_string(nth) + (after ? ", after it" : ""));
    rotating.restore();
    LifeCycleModel next = model;
    const bool killed = killDuring(action, next, nth, after);
    compare(next);
    actAndCompare(Action::kGenerate, next);
    actAndCompare(Action::kInstall, next);
    EXPECT_TRUE(next.installed.isWhole());
    return killed && !HasFailure();
  };
#ifdef CCI_SANITIZED
  const unsigned distance = 7;
#else
  const unsigned distance = 1;
#endif
  for (const Action action : {Action::kKilledGenerate, Action::kKilledInstall, Action::kKilledDelete}) {
    for (const bool after : {false, true}) {
      for (unsigned nth = 1; survives(action, nth, after);) nth += distance;
    }
  }
  std::cout << "counted: " << kills << " processes killed in a rotation, each at a call of its own\n";
}

}  // namespace ozk::tee
