// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pkcs10.h>
#include <botan/x509_key.h>

#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

#include "api/product_test.h"
#include "support/token_snapshot.h"

namespace ozk::tee {

namespace {

enum class Action {
  kGenerate,
  kRequest,
  kInstall,
  kDelete,
  kSignLyr,
  kSignBase,
  kPublicKey,
  kTemporaryKey,
  kChain,
  kInstallForAnotherKey,
  kInstallEmpty
};

/// What one call was asked, and what it gave.
struct Call {
  Action action;
  std::string certified;  // of an installation: the key in its certificate
  ResultCode code = ResultCode::OK;
  std::string text;
  Bytes bytes;
};

/// The client's objects on a token, and what the operations make of them. Keys are public keys in PEM.
struct Model {
  std::optional<std::string> temporary, installed;  // empty as long as nobody has seen the key
  std::string certified;                            // the key in the installed certificate, if there is one
  std::size_t stray_chains = 0;                     // temporary ones, of installations without a key pair

  void generate() {
    temporary = "";
    if (stray_chains > 0) --stray_chains;  // one a clean-up
  }
  ResultCode install(const std::string& key) {
    if (!temporary) {
      ++stray_chains;  // it is taken for a key when what was added is deleted
      return ResultCode::CRYPTO_OP_ERROR;
    }
    const std::string added = *std::exchange(temporary, std::nullopt);
    if (!key.empty() && key != added) return ResultCode::CRYPTO_OP_ERROR;
    installed = added;
    certified = key;
    return ResultCode::OK;
  }
  void remove() {
    installed.reset();
    certified.clear();
  }
};

const Bytes kData = {1, 2, 3};

}  // namespace

/// Operations beside the model.
class LifeCycleTest : public ProductTest {
 protected:
  Call perform(Action action);
  void explain(const Call& call, Model& model);
  void compare(Model& model);
  void walk(unsigned depth, const Model& model);
  void work(unsigned seed, std::vector<Call>& calls);

  std::string base_key = importBaseKey();
  std::mutex backend;
  std::string issued = authority.root().PEM_encode();  // the last certificate
  TokenContent::Handles others = TokenContent::now().others;
  std::size_t steps = 0;
};

Call LifeCycleTest::perform(Action action) {
  Call call{action, "", ResultCode::OK, "", {}};
  const auto installed = [&](const std::string& chain) {
    call.certified = certifiedKey(chain);
    call.code = product->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR");
  };
  switch (action) {
    case Action::kGenerate:
      call.code = product->generate_private_key("LYR_CSR");
      break;
    case Action::kRequest: {
      call.bytes = product->generate_csr("device", "LYR_CSR");
      const std::lock_guard<std::mutex> lock(backend);
      if (!call.bytes.empty()) issued = authority.issue(call.bytes).PEM_encode();
      break;
    }
    case Action::kInstall: {
      std::unique_lock<std::mutex> lock(backend);
      const std::string chain = issued;
      lock.unlock();
      installed(chain);
      break;
    }
    case Action::kInstallForAnotherKey:
      installed(authority.root().PEM_encode());
      break;
    case Action::kInstallEmpty:
      installed("");
      break;
    case Action::kDelete:
      call.code = product->set_client_cert_and_move_key("", "", "LYR");
      break;
    case Action::kSignLyr:
      call.bytes = product->generate_signature("LYR", kData, "");
      break;
    case Action::kSignBase:
      call.bytes = product->generate_signature("BASE", kData, "");
      break;
    case Action::kPublicKey:
      call.text = publicKeyIfAny("LYR");
      break;
    case Action::kTemporaryKey:
      call.text = publicKeyIfAny("LYR_CSR");
      break;
    case Action::kChain:
      call.text = product->get_client_cert("LYR");
      break;
  }
  return call;
}

void LifeCycleTest::explain(const Call& call, Model& model) {
  const auto seeTemporaryKey = [&](const std::string& key) {
    if (model.temporary && model.temporary->empty()) model.temporary = key;
    EXPECT_EQ(key, model.temporary.value_or(""));
  };
  switch (call.action) {
    case Action::kGenerate:
      EXPECT_EQ(call.code, ResultCode::OK);
      return model.generate();
    case Action::kRequest: {
      if (call.bytes.empty()) return seeTemporaryKey("");
      const std::unique_ptr<Botan::Public_Key> key(Botan::PKCS10_Request(call.bytes).subject_public_key());
      return seeTemporaryKey(Botan::X509::PEM_encode(*key));
    }
    case Action::kInstall:
    case Action::kInstallForAnotherKey:
    case Action::kInstallEmpty:
      EXPECT_EQ(call.code, model.install(call.certified));
      return;
    case Action::kDelete:
      EXPECT_EQ(call.code, ResultCode::OK);
      return model.remove();
    case Action::kSignLyr:
      EXPECT_EQ(call.bytes.empty(), !model.installed);
      EXPECT_TRUE(call.bytes.empty() || verifies(model.installed.value(), kData, call.bytes));
      return;
    case Action::kSignBase:
      EXPECT_TRUE(verifies(base_key, kData, call.bytes));
      return;
    case Action::kPublicKey:
      EXPECT_EQ(call.text, model.installed.value_or(""));
      return;
    case Action::kTemporaryKey:
      return seeTemporaryKey(call.text);
    case Action::kChain:
      EXPECT_EQ(certifiedKey(call.text), model.certified);
      return;
  }
}

void LifeCycleTest::compare(Model& model) {
  for (const auto reading : {Action::kTemporaryKey, Action::kPublicKey, Action::kChain, Action::kSignLyr}) {
    explain(perform(reading), model);
  }
  const TokenContent content = TokenContent::now();
  for (const std::size_t kind : {0u, 1u, 2u})
    EXPECT_EQ(content.installed[kind].size(), model.installed.has_value());
  for (const std::size_t half : {0u, 1u})
    EXPECT_EQ(content.temporary[half].size(), model.temporary.has_value());
  EXPECT_EQ(content.temporary[2].size(), model.stray_chains);
  EXPECT_EQ(content.others, others);
}

void LifeCycleTest::walk(unsigned depth, const Model& model) {
  static const std::pair<Action, const char*> actions[] = {
      {Action::kGenerate, "generate"},
      {Action::kRequest, "request"},
      {Action::kInstall, "install"},
      {Action::kInstallForAnotherKey, "install for another key"},
      {Action::kInstallEmpty, "install empty"},
      {Action::kDelete, "delete"}};
  const test_support::TokenSnapshot here(token.folder());
  const std::string issued_here = issued;
  for (const auto& [action, name] : actions) {
    SCOPED_TRACE(name);
    Model next = model;
    explain(perform(action), next);
    compare(next);
    ++steps;
    if (HasFailure()) return;  // what follows would only repeat it
    if (depth > 1) walk(depth - 1, next);
    here.restore();
    issued = issued_here;
  }
}

TEST_F(LifeCycleTest, EverySequenceOfActionsAgreesWithTheModel) {
#ifdef CCI_SANITIZED
  const unsigned depth = 2;
#else
  const unsigned depth = 3;
#endif
  Model model;
  walk(depth, model);
  // Sequences that begin with an identity, in the middle of a rotation.
  for (const auto action : {Action::kGenerate, Action::kRequest, Action::kInstall, Action::kGenerate}) {
    explain(perform(action), model);
    compare(model);
  }
  walk(depth, model);
  std::cout << "counted: " << steps << " steps of sequences of " << depth << " actions and more\n";
}

void LifeCycleTest::work(unsigned seed, std::vector<Call>& calls) {
  std::minstd_rand random(seed);
  // Such that installations find the key that was certified about as often as not.
  std::discrete_distribution<int> choose({10, 20, 8, 1, 15, 8, 10, 10, 10});
  for (Call& call : calls) call = perform(static_cast<Action>(choose(random)));
}

// The token is initialised anew in each call, one call after another: in the order of the initialisations the
// calls must give what the model gives.
TEST_F(LifeCycleTest, CallsOfManyThreadsGiveWhatSomeOrderOfThemGives) {
  constexpr std::size_t kThreads = 8, kCalls = 300;
  std::vector<std::vector<Call>> calls(kThreads, std::vector<Call>(kCalls));
  std::map<std::thread::id, std::vector<Call>::const_iterator> next;
  spytoken().take_calls();
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] { work(static_cast<unsigned>(i + 1), calls[i]); });
    next[threads.back().get_id()] = calls[i].begin();
  }
  for (std::thread& thread : threads) thread.join();

  Model model;
  std::size_t explained = 0, installations = 0;
  for (const auto& spied : spytoken().take_calls()) {
    if (spied.function != "C_Initialize") continue;
    const Call& call = *next.at(spied.thread)++;
    explain(call, model);
    ASSERT_FALSE(HasFailure()) << "call " << explained;
    ++explained;
    installations += call.action == Action::kInstall && call.code == ResultCode::OK;
  }
  EXPECT_EQ(explained, kThreads * kCalls);
  EXPECT_GT(installations, 0u) << "nothing was exchanged under the readers";
  std::cout << "counted: " << explained << " calls of " << kThreads << " threads, " << installations
            << " installations\n";
}

}  // namespace ozk::tee
