// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "api/product_test.h"
#include "support/token_snapshot.h"

/// Of the next large allocations, the one that fails; 0: none. Botan makes small ones when it frees memory.
static unsigned g_failing_new = 0;

void* operator new(std::size_t size) {
  const bool fails = size > 9999 && g_failing_new != 0 && --g_failing_new == 0;
  void* const memory = fails ? nullptr : std::malloc(size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace ozk::tee {

TEST_F(ProductTest, LackOfMemoryInstallsNoPartOfAChain) {
  std::string installed;
  bool failed = true;
  unsigned nth = 1;
  for (; failed; ++nth) {
    const std::string chain = pem(requestChain(std::string(20000, 'n')));
    g_failing_new = nth;
    try {
      install(chain);
    } catch (const std::bad_alloc&) {
    }
    failed = std::exchange(g_failing_new, 0) == 0;
    const std::string now = product->get_client_cert("LYR");
    EXPECT_TRUE(now == installed || now == chain) << "allocation " << nth;
    installed = now;
  }
  EXPECT_GT(nth, 3U) << "too few for a chain";
}

namespace {

constexpr auto kGenerate = "generate", kInstall = "install", kDelete = "delete";

/// A token to begin with, and what a backend answered for its temporary key, if it has one.
struct State {
  std::string name;
  TokenSnapshot snapshot;
  TokenContent content;
  std::string chain;
};

struct Operation {
  std::string name;
  std::function<std::string()> run;  // returns what the caller gets
};

/// A call fails before it is made, or it is made and fails then, or it throws kNoMemory.
constexpr CK_RV kNotMade = CKR_DEVICE_ERROR, kMade = CKR_GENERAL_ERROR;

/// What one run of an operation came to.
struct Outcome {
  std::string result;
  bool reported = false;  // by an exception or a record
  bool out_of_memory = false;
  std::vector<SpiedCall> calls;
  TokenContent content;
};

}  // namespace

/// Each call of each operation, in each state of the token, fails.
class FailuresTest : public ProductTest {
 protected:
  FailuresTest() {
    addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
    importBaseKey();
    for (const unsigned index : {12u, 13u}) importCertificate(label(1, index), authority.root());
    importData(label(2, 1), "VIN");
    saveState("nothing", {authority.root()});
    saveState("a temporary set", requestChain("temporary"));
    states.front().snapshot.restore();
    provision("installed");
    saveState("an installed set", {authority.root()});
    saveState("both", requestChain("temporary"));
  }

  void saveState(const std::string& name, const Chain& issued) {
    if (issued.size() > 1) importTemporaryChain();  // as an attempt leaves it that stopped half-way
    states.push_back({name, TokenSnapshot(token.path()), TokenContent::now(), pem(issued)});
  }

  /// Call `nth` fails, if it is not 0.
  Outcome outcomeOf(const Operation& operation, const State& state, unsigned nth = 0,
                    CK_RV failure = CKR_OK) {
    state.snapshot.restore();
    chain = state.chain;
    log.take();
    spytoken().take_calls();
    if (nth != 0) spytoken().answer("", failure, nth, failure == kMade);
    Outcome outcome;
    try {
      outcome.result = operation.run();
    } catch (const Botan::PKCS11::PKCS11_ReturnError&) {
      outcome.reported = true;
    } catch (const std::bad_alloc&) {
      outcome.out_of_memory = outcome.reported = true;
    }
    outcome.calls = spytoken().take_calls();
    for (const auto& [level, text] : log.take()) outcome.reported |= level == ara::log::LogLevel::kError;
    spytoken().stop_interfering();
    expectNothingOpen(operation, outcome);
    outcome.content = TokenContent::now();
    return outcome;
  }

  void expectNothingOpen(const Operation& operation, const Outcome& outcome) {
    int searches = 0, sessions = 0;
    for (const SpiedCall& call : outcome.calls) {
      const bool made = call.code == CKR_OK;
      searches += (made && call.function == "C_FindObjectsInit") - (call.function == "C_FindObjectsFinal");
      sessions += (made && call.function == "C_OpenSession") - (call.function == "C_CloseSession");
    }
    EXPECT_EQ(spytoken().module().cryptoki->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_LE(searches, 0);
    // A generation that succeeds leaves its session to the end of the module.
    EXPECT_EQ(sessions, operation.name == kGenerate && outcome.result == nameOf(ResultCode::OK));
  }

  void expectSound(const Operation& operation, const TokenContent& before, const Outcome& outcome) {
    const bool deletes = operation.name == kDelete, installs = operation.name == kInstall;
    const bool whole_and_new =
        std::equal(before.installed.begin(), before.installed.end(), outcome.content.installed.begin(),
                   [](const auto& then, const auto& now) { return now.size() == 1 && now != then; });
    EXPECT_EQ(outcome.content.others, before.others);
    EXPECT_TRUE(deletes || outcome.content.installed == before.installed || (installs && whole_and_new));
    EXPECT_TRUE(installs || operation.name == kGenerate || outcome.content.temporary == before.temporary);
    EXPECT_EQ(product->get_zemp_vin(), "VIN") << "the next call works";
    const auto& [public_keys, private_keys, chains] = outcome.content.installed;
    if (public_keys.empty()) return;
    EXPECT_TRUE(private_keys.empty() || signsWithInstalledKey());
    EXPECT_TRUE(chains.empty() ||
                certifiedKey(product->get_client_cert("LYR")) == product->get_public_key("LYR"));
  }

  void failEachCall(const Operation& operation, const State& state) {
    const Outcome clean = outcomeOf(operation, state);
    for (unsigned nth = 1; nth <= clean.calls.size(); ++nth) {
      const std::string& function = clean.calls[nth - 1].function;
      for (const CK_RV failure : {kNotMade, kMade, kNoMemory}) {
        // Or the module would stay initialised, unknown to its caller.
        if (function == (failure == kMade ? "C_Initialize" : "C_Finalize")) continue;
#ifdef CCI_SANITIZED  // ten times slower
        if (failure != kNotMade && function != "set_client_cert_and_move_key") continue;
#endif
        SCOPED_TRACE(operation.name + " with " + state.name + ", call " + std::to_string(nth) + ' ' +
                     function + ", failure " + std::to_string(failure));
        const Outcome outcome = outcomeOf(operation, state, nth, failure);
        EXPECT_TRUE(outcome.reported || outcome.result == clean.result) << "no word of it";
        const bool closes = function == "C_Logout" || function == "C_CloseSession";  // mostly in destructors
        EXPECT_TRUE(outcome.out_of_memory || closes || failure != kNoMemory) << "lack of memory";
        expectSound(operation, state.content, outcome);
      }
    }
  }

  static std::string presence(const Bytes& result) { return result.empty() ? "" : "something"; }
  std::vector<State> states;
  std::string chain;
  const std::vector<Operation> operations = {
      {kGenerate, [this] { return nameOf(generate()); }},
      {kInstall, [this] { return nameOf(install(chain)); }},
      {kDelete, [this] { return nameOf(remove()); }},
      {"request", [this] { return presence(product->generate_csr("", "LYR_CSR")); }},
      {"sign with LYR", [this] { return presence(product->generate_signature("LYR", {1}, "")); }},
      {"sign with BASE", [this] { return presence(product->generate_signature("BASE", {1}, "")); }},
      {"get_public_key LYR", [this] { return product->get_public_key("LYR"); }},
      {"get_public_key LYR_CSR", [this] { return product->get_public_key("LYR_CSR"); }},
      {"get_client_cert LYR", [this] { return product->get_client_cert("LYR"); }},
      {"get_client_cert ZEMP", [this] { return product->get_client_cert("ZEMP"); }},
      {"get_root_cert_bundle", [this] { return product->get_root_cert_bundle("group"); }},
      {"get_zemp_vin", [this] { return product->get_zemp_vin(); }}};
};

TEST_F(FailuresTest, LeaveNothingOpenLostOrMixedAndAreReported) {
  for (const Operation& operation : operations) {
    for (const State& state : states) failEachCall(operation, state);
  }
}

}  // namespace ozk::tee
