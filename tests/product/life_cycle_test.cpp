// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

#include "api/product_test.h"

namespace ozk::tee {

using ::testing::Each;
using ::testing::SizeIs;

namespace {

struct Call {
  std::string result, argument = {};
};

const Bytes kData = {1, 2, 3};

/// The signature of kData, if it is right.
std::string verified(const std::string& key, const std::string& signature) {
  return verifies(key, kData, {signature.begin(), signature.end()}) ? signature : "one that verifies";
}

/// The client's objects on a token. Keys are public keys in PEM. What each function returns, the token must.
struct Model {
  std::optional<std::string> temporary, installed;  // empty as long as nobody has seen the key
  std::string certified;                            // the key in the installed certificate, if there is one
  std::size_t stray_chains = 0;                     // temporary ones, of installations without a key pair

  std::string generate(const Call&) {
    temporary = "";
    if (stray_chains > 0) --stray_chains;  // one a clean-up
    return nameOf(ResultCode::OK);
  }
  std::string temporaryKey(const Call& call) {
    if (temporary && temporary->empty()) temporary = call.result;
    return temporary.value_or("");
  }
  std::string install(const Call& call) {
    const std::string& key = call.argument;
    if (!temporary) ++stray_chains;  // the clean-up takes it for a public key
    const auto added = std::exchange(temporary, std::nullopt);
    if (added != key) return nameOf(ResultCode::CRYPTO_OP_ERROR);
    installed = added;
    certified = key;
    return nameOf(ResultCode::OK);
  }
  std::string remove(const Call&) {
    installed.reset();
    certified.clear();
    return nameOf(ResultCode::OK);
  }
  std::string installedKey(const Call&) { return installed.value_or(""); }
  std::string certifiedKey(const Call&) { return certified; }
  std::string signature(const Call& call) { return installed ? verified(*installed, call.result) : ""; }
};

struct Action {
  std::string name;
  std::function<Call()> call;
  std::function<std::string(Model&, const Call&)> expected;  // the result
};

}  // namespace

/// Operations beside the model.
class LifeCycleTest : public ProductTest {
 protected:
  std::string requested() {
    const Bytes request = product->generate_csr("device", "LYR_CSR");
    if (request.empty()) return {};
    const std::lock_guard<std::mutex> lock(backend);
    issued = authority.issue(request).PEM_encode();
    return certifiedKey(issued);
  }
  Call installed(const std::string& chain) { return {nameOf(install(chain)), certifiedKey(chain)}; }
  Call signature(const std::string& key_id) {
    const Bytes signature = product->generate_signature(key_id, kData, "");
    return {{signature.begin(), signature.end()}};
  }
  Call publicKey(const std::string& key_id) {
    try {
      return {product->get_public_key(key_id)};
    } catch (const Botan::PKCS11::PKCS11_ReturnError&) {
      return {};  // there is no such key
    }
  }
  std::string issuedChain() {
    const std::lock_guard<std::mutex> lock(backend);
    return issued;
  }

  /// Each call initialises the token anew, one call after another: in the order of the initialisations they
  /// must return what the model returns. There are enough for nearly every sequence of three changes.
  void callAndCompare(std::size_t thread_count) {
    constexpr std::size_t kCalls = 500;
    using Calls = std::vector<std::pair<const Action*, Call>>;
    std::vector<Calls> calls(thread_count, Calls(kCalls));
    std::map<std::thread::id, Calls::const_iterator> next;
    std::vector<std::thread> threads;
    spytoken().take_calls();
    for (Calls& of_thread : calls) {
      threads.emplace_back([&, seed = threads.size() + 1] {
        std::minstd_rand random(static_cast<unsigned>(seed));
        for (auto& [action, call] : of_thread) {
          action = &actions[random() % actions.size()];
          call = action->call();
        }
      });
      next[threads.back().get_id()] = of_thread.begin();
    }
    for (std::thread& thread : threads) thread.join();

    std::size_t compared = 0, installations = 0;
    for (const auto& spied : spytoken().take_calls()) {
      installations += spied.function == "set_client_cert_and_move_key" && spied.code == CKR_OK;
      if (spied.function != "C_Initialize") continue;
      const auto& [action, call] = *next.at(spied.thread)++;
      ASSERT_EQ(call.result, action->expected(model, call)) << action->name << ", call " << compared;
      ++compared;
    }
    EXPECT_EQ(compared, thread_count * kCalls);
    EXPECT_GT(installations, 0u) << "nothing was exchanged under the readers";
  }

  Model model;
  std::mutex backend;
  std::string issued = authority.root().PEM_encode();  // the last certificate; this one is for another key
  const std::string other_chain = issued, base_key = importBaseKey();
  const TokenContent::Handles others = TokenContent::now().others;

  const std::vector<Action> actions = {
      {"generate", [this] { return Call{nameOf(generate())}; }, &Model::generate},
      {"request", [this] { return Call{requested()}; }, &Model::temporaryKey},
      {"install", [this] { return installed(issuedChain()); }, &Model::install},
      {"install for another key", [this] { return installed(other_chain); }, &Model::install},
      {"delete", [this] { return Call{nameOf(remove())}; }, &Model::remove},
      {"temporary key", [this] { return publicKey("LYR_CSR"); }, &Model::temporaryKey},
      {"public key", [this] { return publicKey("LYR"); }, &Model::installedKey},
      {"chain", [this] { return Call{certifiedKey(product->get_client_cert("LYR"))}; }, &Model::certifiedKey},
      {"sign", [this] { return signature("LYR"); }, &Model::signature},
      {"sign with BASE", [this] { return signature("BASE"); },
       [this](Model&, const Call& call) { return verified(base_key, call.result); }}};
};

TEST_F(LifeCycleTest, CallsOfOneThreadAndOfManyAgreeWithTheModel) {
  for (const std::size_t thread_count : {1u, 8u}) {
    callAndCompare(thread_count);
    const TokenContent content = TokenContent::now();
    const std::size_t installed = model.installed.has_value(), temporary = model.temporary.has_value();
    EXPECT_THAT(content.installed, Each(SizeIs(installed)));
    EXPECT_THAT(content.temporary,
                ElementsAre(SizeIs(temporary), SizeIs(temporary), SizeIs(model.stray_chains)));
    EXPECT_EQ(content.others, others);
  }
}

}  // namespace ozk::tee
