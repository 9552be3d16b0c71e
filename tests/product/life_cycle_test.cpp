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
      ++stray_chains;  // the clean-up takes it for a public key
      return ResultCode::CRYPTO_OP_ERROR;
    }
    const std::string added = *std::exchange(temporary, std::nullopt);
    if (!key.empty() && key != added) return ResultCode::CRYPTO_OP_ERROR;
    installed = added;
    certified = key;
    return ResultCode::OK;
  }
  void expectTemporary(const std::string& key) {
    if (temporary && temporary->empty()) temporary = key;
    EXPECT_EQ(key, temporary.value_or(""));
  }
};

/// Compares what a call returned with the model, and changes the model as the call changed the token.
using Check = std::function<void(Model&)>;

struct Action {
  std::string name;
  int frequency;  // among threads
  std::function<Check()> call;
};

std::string keyOf(const Bytes& request) {
  if (request.empty()) return "";
  const std::unique_ptr<Botan::Public_Key> key(Botan::PKCS10_Request(request).subject_public_key());
  return Botan::X509::PEM_encode(*key);
}

}  // namespace

/// Operations beside the model.
class LifeCycleTest : public ProductTest {
 protected:
  Check request();
  Check installed(const std::string& chain);
  std::string issuedChain() {
    const std::lock_guard<std::mutex> lock(backend);
    return issued;
  }
  void check(const Action& action, Model& model);
  void walk(unsigned depth, const Model& model);

  std::mutex backend;
  std::string issued = authority.root().PEM_encode();  // the last certificate; this one is for another key
  const std::string other_chain = issued, base_key = importBaseKey();
  const TokenContent::Handles others = TokenContent::now().others;
  const Bytes data = {1, 2, 3};
  std::size_t steps = 0;

  const Action generate{"generate", 10, [this]() -> Check {
                          return [code = product->generate_private_key("LYR_CSR")](Model& model) {
                            EXPECT_EQ(code, ResultCode::OK);
                            model.generate();
                          };
                        }};
  const Action request_one{"request", 20, [this] { return request(); }};
  const Action install_issued{"install", 8, [this] { return installed(issuedChain()); }};
  const Action install_other{"install for another key", 1, [this] { return installed(other_chain); }};
  const Action install_empty{"install empty", 0, [this] { return installed(""); }};
  const Action remove{"delete", 1, [this]() -> Check {
                        return [code = product->set_client_cert_and_move_key("", "", "LYR")](Model& model) {
                          EXPECT_EQ(code, ResultCode::OK);
                          model.installed.reset();
                          model.certified.clear();
                        };
                      }};
  const std::vector<Action> changes = {generate,      request_one,   install_issued,
                                       install_other, install_empty, remove};
  const std::vector<Action> reads = {
      {"temporary key", 10,
       [this]() -> Check {
         return [key = publicKeyIfAny("LYR_CSR")](Model& model) { model.expectTemporary(key); };
       }},
      {"public key", 10,
       [this]() -> Check {
         return [key = publicKeyIfAny("LYR")](Model& model) { EXPECT_EQ(key, model.installed.value_or("")); };
       }},
      {"chain", 10,
       [this]() -> Check {
         return [chain = product->get_client_cert("LYR")](Model& model) {
           EXPECT_EQ(certifiedKey(chain), model.certified);
         };
       }},
      {"sign", 15,
       [this]() -> Check {
         return [this, signature = product->generate_signature("LYR", data, "")](Model& model) {
           EXPECT_EQ(signature.empty(), !model.installed);
           EXPECT_TRUE(signature.empty() || verifies(model.installed.value(), data, signature));
         };
       }},
      {"sign with BASE", 8, [this]() -> Check {
         return [this, signature = product->generate_signature("BASE", data, "")](Model&) {
           EXPECT_TRUE(verifies(base_key, data, signature));
         };
       }}};
};

Check LifeCycleTest::request() {
  const Bytes request = product->generate_csr("device", "LYR_CSR");
  const std::lock_guard<std::mutex> lock(backend);
  if (!request.empty()) issued = authority.issue(request).PEM_encode();
  return [request](Model& model) { model.expectTemporary(keyOf(request)); };
}

Check LifeCycleTest::installed(const std::string& chain) {
  const ResultCode code = product->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR");
  return [chain, code](Model& model) { EXPECT_EQ(code, model.install(certifiedKey(chain))); };
}

/// Acts, and compares all that can be read afterwards.
void LifeCycleTest::check(const Action& action, Model& model) {
  action.call()(model);
  for (const Action& read : reads) read.call()(model);
  const TokenContent content = TokenContent::now();
  for (const auto& kind : content.installed) EXPECT_EQ(kind.size(), model.installed.has_value());
  const std::size_t temporary = model.temporary.has_value();
  EXPECT_EQ(content.temporary[0].size(), temporary);
  EXPECT_EQ(content.temporary[1].size(), temporary);
  EXPECT_EQ(content.temporary[2].size(), model.stray_chains);
  EXPECT_EQ(content.others, others);
  ++steps;
}

void LifeCycleTest::walk(unsigned depth, const Model& model) {
  const test_support::TokenSnapshot here(token.folder());
  const std::string issued_here = issued;
  for (const Action& action : changes) {
    SCOPED_TRACE(action.name);
    Model next = model;
    check(action, next);
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
  for (const Action& action : {generate, request_one, install_issued, generate}) check(action, model);
  walk(depth, model);  // in the middle of a rotation
  std::cout << "counted: " << steps << " steps of sequences of " << depth << " actions and more\n";
}

// The token is initialised anew in each call, one call after another: in the order of the initialisations the
// calls must return what the model returns.
TEST_F(LifeCycleTest, CallsOfManyThreadsGiveWhatSomeOrderOfThemGives) {
  constexpr std::size_t kThreads = 8, kCalls = 300;
  std::vector<Action> actions = changes;
  actions.insert(actions.end(), reads.begin(), reads.end());
  std::vector<int> frequencies;
  for (const Action& action : actions) frequencies.push_back(action.frequency);
  std::vector<std::vector<Check>> checks(kThreads, std::vector<Check>(kCalls));
  std::map<std::thread::id, std::vector<Check>::const_iterator> next;
  std::vector<std::thread> threads;
  spytoken().take_calls();
  for (auto& of_thread : checks) {
    threads.emplace_back([&, seed = threads.size()] {
      std::minstd_rand random(static_cast<unsigned>(seed + 1));
      std::discrete_distribution<std::size_t> choose(frequencies.begin(), frequencies.end());
      for (Check& check : of_thread) check = actions[choose(random)].call();
    });
    next[threads.back().get_id()] = of_thread.begin();
  }
  for (std::thread& thread : threads) thread.join();

  Model model;
  std::size_t calls = 0, installations = 0;
  for (const auto& spied : spytoken().take_calls()) {
    installations += spied.function == "set_client_cert_and_move_key" && spied.code == CKR_OK;
    if (spied.function != "C_Initialize") continue;
    (*next.at(spied.thread)++)(model);
    ASSERT_FALSE(HasFailure()) << "call " << calls;
    ++calls;
  }
  EXPECT_EQ(calls, kThreads * kCalls);
  EXPECT_GT(installations, 0u) << "nothing was exchanged under the readers";
  std::cout << "counted: " << calls << " calls of " << kThreads << " threads, " << installations
            << " installations\n";
}

}  // namespace ozk::tee
