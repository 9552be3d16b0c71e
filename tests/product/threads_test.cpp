// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pkcs10.h>
#include <botan/x509_key.h>

#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include "api/product_test.h"
#include "life_cycle_model.h"
#include "support/long_run.h"
#include "support/spytoken.h"

namespace ozk::tee {

using test_support::spytoken;

namespace {

enum class Action {
  kGenerate,
  kRequest,
  kInstall,
  kDelete,
  kSignLyr,
  kSignBase,
  kPublicKey,
  kWaitingKey,
  kChain
};

/// What one call was asked, and what it gave.
struct Call {
  Action action;
  std::string key;  // of an installation: the key that its chain certifies
  ResultCode code = ResultCode::OK;
  std::string text;
  Bytes bytes;
};

const Bytes kData = {1, 2, 3};

std::string requestedKey(const Bytes& request) {
  const std::unique_ptr<Botan::Public_Key> key(Botan::PKCS10_Request(request).subject_public_key());
  return Botan::X509::PEM_encode(*key);
}

}  // namespace

/// Eight threads on one instance. The token is initialised anew in each call, one call after another: in the
/// order of the initialisations the calls must give what the model gives.
class ThreadsTest : public ProductTest {
 protected:
  static constexpr unsigned kThreads = 8;

  void work(unsigned seed, std::vector<Call>& calls, unsigned count);
  Call perform(Action action);
  void certify(Call& call);
  void explain(const Call& call, LifeCycleModel& model);

  std::string base_key = importBaseKey();
  std::mutex backend;
  std::string chain = authority.root().PEM_encode();  // the one issued last
};

void ThreadsTest::certify(Call& call) {
  call.bytes = product->generate_csr("device", "LYR_CSR");
  if (call.bytes.empty()) return;
  const std::lock_guard<std::mutex> lock(backend);
  chain = authority.issue(call.bytes).PEM_encode();
}

Call ThreadsTest::perform(Action action) {
  Call call{action, "", ResultCode::OK, "", {}};
  switch (action) {
    case Action::kGenerate:
      call.code = product->generate_private_key("LYR_CSR");
      break;
    case Action::kRequest:
      certify(call);
      break;
    case Action::kInstall: {
      std::unique_lock<std::mutex> lock(backend);
      const std::string issued = chain;
      lock.unlock();
      call.key = certifiedKey(issued);
      call.code = product->set_client_cert_and_move_key(issued, "LYR_CSR", "LYR");
      break;
    }
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
    case Action::kWaitingKey:
      call.text = publicKeyIfAny("LYR_CSR");
      break;
    case Action::kChain:
      call.text = product->get_client_cert("LYR");
      break;
  }
  return call;
}

void ThreadsTest::work(unsigned seed, std::vector<Call>& calls, unsigned count) {
  std::minstd_rand random(seed);
  // Such that installations find the key that was certified about as often as not.
  std::discrete_distribution<int> choose({10, 20, 8, 1, 15, 8, 10, 10, 10});
  while (calls.size() < count) calls.push_back(perform(static_cast<Action>(choose(random))));
}

void ThreadsTest::explain(const Call& call, LifeCycleModel& model) {
  const auto seeWaitingKey = [&](const std::string& key) {
    if (model.temporary.has_public && model.temporary.key.empty()) model.temporary.key = key;
    EXPECT_EQ(key, model.temporary.has_public ? model.temporary.key : "");
  };
  switch (call.action) {
    case Action::kGenerate:
      EXPECT_EQ(call.code, ResultCode::OK);
      return model.generate();
    case Action::kRequest:
      return seeWaitingKey(call.bytes.empty() ? "" : requestedKey(call.bytes));
    case Action::kInstall:
      EXPECT_EQ(call.code, model.install(call.key));
      return;
    case Action::kDelete:
      EXPECT_EQ(call.code, ResultCode::OK);
      return model.remove();
    case Action::kSignLyr:
      EXPECT_EQ(call.bytes.empty(), !model.installed.has_private);
      EXPECT_TRUE(call.bytes.empty() || verifies(model.installed.key, kData, call.bytes));
      return;
    case Action::kSignBase:
      EXPECT_TRUE(verifies(base_key, kData, call.bytes));
      return;
    case Action::kPublicKey:
      EXPECT_EQ(call.text, model.installed.key);
      return;
    case Action::kWaitingKey:
      return seeWaitingKey(call.text);
    case Action::kChain:
      EXPECT_EQ(call.text.empty() ? "" : certifiedKey(call.text), model.certified_key);
      return;
  }
}

TEST_F(ThreadsTest, CallsOfManyThreadsGiveWhatSomeOrderOfThemGives) {
  const unsigned count = test_support::isLongRun() ? 5000 : 300;
  std::vector<std::vector<Call>> calls(kThreads);
  std::map<std::thread::id, std::size_t> numbers;
  spytoken().take_calls();
  {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] { work(i + 1, calls[i], count); });
      numbers[threads.back().get_id()] = i;
    }
    for (std::thread& thread : threads) thread.join();
  }
  LifeCycleModel model;
  std::vector<std::size_t> next(kThreads);
  std::size_t explained = 0, installations = 0;
  for (const auto& spied : spytoken().take_calls()) {
    if (spied.function != "C_Initialize") continue;
    ASSERT_EQ(spied.code, CKR_OK);
    const std::size_t thread = numbers.at(spied.thread);
    ASSERT_LT(next[thread], count);
    const Call& call = calls[thread][next[thread]++];
    explain(call, model);
    ASSERT_FALSE(HasFailure()) << "call " << explained;
    ++explained;
    installations += call.action == Action::kInstall && call.code == ResultCode::OK;
  }
  EXPECT_EQ(explained, kThreads * count);
  EXPECT_GT(installations, 0u) << "nothing was exchanged under the readers";
  std::cout << "counted: " << explained << " calls of " << kThreads << " threads, " << installations
            << " installations\n";
}

}  // namespace ozk::tee
