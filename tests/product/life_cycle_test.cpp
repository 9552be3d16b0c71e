#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

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
  void walk(unsigned depth, const LifeCycleModel& model, const std::string& path);
  void act(Action action, LifeCycleModel& model);
  void actAndCompare(Action action, LifeCycleModel& model);
  void install(const std::string& pem, const std::string& certified_key, LifeCycleModel& model);
  void killDuring(const std::function<void()>& operation, LifeCycleModel& model, Action action);
  void adopt(const TokenContent& before, const TokenContent& after, LifeCycleModel& model, Action action);
  void compare(LifeCycleModel& model);
  void compareKeys(LifeCycleModel& model);
  std::string chainFor(const LifeCycleModel& model);

  std::string base_key = importBaseKey();
  std::string other_chain = authority.root().PEM_encode();
  std::size_t steps = 0, sequences = 0, kills = 0;
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
    case Action::kReadAll:
      return;  // as after each step
    case Action::kSignBase:
      EXPECT_TRUE(verifies(base_key, kData, product->generate_signature("BASE", kData, "")));
      return;
    case Action::kKilledGenerate:
      return killDuring([&] { product->generate_private_key("LYR_CSR"); }, model, action);
    case Action::kKilledInstall: {
      const std::string chain = chainFor(model);
      return killDuring([&] { product->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR"); }, model,
                        action);
    }
    case Action::kKilledDelete:
      return killDuring([&] { product->set_client_cert_and_move_key("", "", "LYR"); }, model, action);
  }
}

/// A process that dies in the operation, each time at another call, now before it and now after it.
void LifeCycleTest::killDuring(const std::function<void()>& operation, LifeCycleModel& model, Action action) {
  const TokenContent before = TokenContent::now();
  const pid_t child = ::fork();
  if (child == 0) {
    test_support::Interference death;
    death.nth = static_cast<unsigned>(7 + kills / 2 * 5 % 30);  // those before concern the session alone
    death.after = kills % 2 == 0;
    death.ends_process = true;
    spytoken().interfere(death);
    operation();
    ::_exit(0);  // it ended before that call
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  ++kills;
  adopt(before, TokenContent::now(), model, action);
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
    EXPECT_TRUE(after.installed == before.installed || isOneOfEach(newly_installed, true));
    EXPECT_TRUE(new_ones[0].empty() && new_ones[1].empty() && new_ones[2].size() <= 1);
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
  compareKeys(model);
}

void LifeCycleTest::compareKeys(LifeCycleModel& model) {
  const std::string waiting = publicKeyIfAny("LYR_CSR");
  if (model.temporary.has_public && model.temporary.key.empty()) model.temporary.key = waiting;
  EXPECT_EQ(waiting, model.temporary.has_public ? model.temporary.key : "");
  EXPECT_EQ(publicKeyIfAny("LYR"), model.installed.has_public ? model.installed.key : "");

  const std::string certificates = product->get_client_cert("LYR");
  EXPECT_EQ(certificates.empty(), model.certified_key.empty());
  const Bytes signature = product->generate_signature("LYR", kData, "");
  EXPECT_EQ(signature.empty(), !model.installed.has_private);
  if (signature.empty()) return;
  EXPECT_TRUE(verifies(model.installed.key, kData, signature));
  if (certificates.empty()) return;
  EXPECT_EQ(certifiedKey(certificates), model.installed.key);
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

TEST_F(LifeCycleTest, EverySequenceOfActionsAgreesWithTheModel) {
#ifdef CCI_SANITIZED
  const unsigned depth = 2;
#else
  const unsigned depth = test_support::isLongRun() ? 4 : 3;
#endif
  walk(depth, LifeCycleModel(), "");
  std::cout << "counted: " << sequences << " sequences of " << depth << " actions, " << steps << " steps, "
            << kills << " processes killed\n";
}

}  // namespace ozk::tee
