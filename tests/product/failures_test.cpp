// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <functional>
#include <iostream>

#include "api/product_test.h"
#include "support/token_snapshot.h"

namespace ozk::tee {

namespace {

enum class Kind { kReads, kGenerates, kInstalls, kDeletes };

/// A token to begin with, and what a backend answered for its temporary key, if it has one.
struct State {
  std::string name;
  test_support::TokenSnapshot snapshot;
  TokenContent content;
  std::string chain;
};

struct Operation {
  std::string name;
  Kind kind;
  std::function<std::string(const State&)> run;  // what the caller gets
};

/// What one run of an operation came to.
struct Outcome {
  std::string result;
  bool threw = false;
  std::vector<test_support::LogLine> records;
  std::vector<test_support::SpiedCall> calls;
  TokenContent content;
};

std::string nameOf(ResultCode code) { return "code " + std::to_string(static_cast<unsigned>(code)); }

bool hasError(const Outcome& run) {
  return std::any_of(run.records.begin(), run.records.end(), [](const test_support::LogLine& line) {
    return line.level == ara::log::LogLevel::kError;
  });
}

/// One object of each kind, and none of them was there before.
bool isWholeAndNew(const TokenContent& content, const TokenContent& before) {
  for (std::size_t kind = 0; kind < content.installed.size(); ++kind) {
    if (content.installed[kind].size() != 1 || content.installed[kind] == before.installed[kind])
      return false;
  }
  return true;
}

}  // namespace

/// Each call of each operation, in each state of the token, fails: it is not made, or made and then answered
/// with an error.
class FailuresTest : public ProductTest {
 protected:
  FailuresTest();
  void saveState(const std::string& name, const std::string& chain) {
    states.push_back({name, test_support::TokenSnapshot(token.folder()), TokenContent::now(), chain});
  }
  std::vector<Operation> operations();
  Outcome runOf(const Operation& operation, const State& state);
  void failEachCall(const Operation& operation, const State& state);
  void expectNothingOpen(const Operation& operation, const Outcome& run);
  void expectSound(const Operation& operation, const State& state, const Outcome& clean, const Outcome& run);

  std::vector<State> states;
  std::size_t failures = 0;
};

FailuresTest::FailuresTest() {
  test_support::addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
  importBaseKey();
  test_support::UserSession session;
  for (const unsigned index : {11u, 12u, 13u, 14u, 15u}) {
    test_support::importCertificate(*session, {label(1, index)}, authority.root());
  }
  test_support::importData(*session, {label(2, 1)}, "VIN");
}

std::vector<Operation> FailuresTest::operations() {
  const auto reads = [](const std::string& name, auto operation) {
    return Operation{name, Kind::kReads, [operation](const State&) -> std::string {
                       const auto result = operation();
                       return std::to_string(result.size()) + " bytes";
                     }};
  };
  const auto certificates = [&](const std::string& key_id) {
    return reads("get_client_cert " + key_id, [=] { return product->get_client_cert(key_id); });
  };
  return {
      {"generate_private_key", Kind::kGenerates,
       [this](const State&) { return nameOf(product->generate_private_key("LYR_CSR")); }},
      {"install", Kind::kInstalls,
       [this](const State& state) {
         return nameOf(product->set_client_cert_and_move_key(state.chain, "LYR_CSR", "LYR"));
       }},
      {"delete", Kind::kDeletes,
       [this](const State&) { return nameOf(product->set_client_cert_and_move_key("", "", "LYR")); }},
      reads("generate_csr",
            [this] { return std::string(product->generate_csr("", "LYR_CSR").empty() ? "" : "request"); }),
      reads("sign with LYR", [this] { return product->generate_signature("LYR", {1}, ""); }),
      reads("sign with BASE", [this] { return product->generate_signature("BASE", {1}, ""); }),
      reads("get_public_key LYR", [this] { return product->get_public_key("LYR"); }),
      reads("get_public_key LYR_CSR", [this] { return product->get_public_key("LYR_CSR"); }),
      certificates("LYR"),
      certificates("ZEMP"),
      certificates("BASE"),
      reads("get_root_cert_bundle", [this] { return product->get_root_cert_bundle("group"); }),
      reads("get_zemp_vin", [this] { return product->get_zemp_vin(); })};
}

Outcome FailuresTest::runOf(const Operation& operation, const State& state) {
  log.take();
  spytoken().take_calls();
  Outcome run;
  try {
    run.result = operation.run(state);
  } catch (const Botan::PKCS11::PKCS11_ReturnError&) {
    run.threw = true;
  }
  run.calls = spytoken().take_calls();
  run.records = log.take();
  spytoken().stop_interfering();
  expectNothingOpen(operation, run);
  run.content = TokenContent::now();
  return run;
}

void FailuresTest::expectNothingOpen(const Operation& operation, const Outcome& run) {
  const auto count = [&](const std::string& function, bool successful) {
    return std::count_if(run.calls.begin(), run.calls.end(), [&](const auto& call) {
      return call.function == function && (!successful || call.code == CKR_OK);
    });
  };
  EXPECT_EQ(spytoken().module().cryptoki->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
  EXPECT_LE(count("C_FindObjectsInit", true), count("C_FindObjectsFinal", false));
  // A generation that succeeds leaves its session to the end of the module.
  const bool released = operation.kind == Kind::kGenerates && run.result == nameOf(ResultCode::OK);
  EXPECT_EQ(count("C_OpenSession", true), count("C_CloseSession", false) + released);
}

void FailuresTest::expectSound(const Operation& operation, const State& state, const Outcome& clean,
                               const Outcome& run) {
  const TokenContent& before = state.content;
  EXPECT_EQ(run.content.others, before.others);
  const bool same = run.content.installed == before.installed;
  EXPECT_TRUE(same || operation.kind == Kind::kDeletes || isWholeAndNew(run.content, before));
  EXPECT_TRUE(same || operation.kind == Kind::kDeletes || operation.kind == Kind::kInstalls);
  if (operation.kind == Kind::kReads || operation.kind == Kind::kDeletes) {
    EXPECT_EQ(run.content.temporary, before.temporary);
  }
  EXPECT_TRUE(run.threw || run.result == clean.result || hasError(run)) << "a failure without a word";
  EXPECT_EQ(product->get_zemp_vin(), "VIN") << "the next call works";
  const auto& [public_keys, private_keys, chains] = run.content.installed;
  if (!public_keys.empty() && !private_keys.empty()) {
    EXPECT_TRUE(signsWithInstalledKey());
  }
  if (!public_keys.empty() && !chains.empty()) {
    EXPECT_EQ(certifiedKey(product->get_client_cert("LYR")), product->get_public_key("LYR"));
  }
}

void FailuresTest::failEachCall(const Operation& operation, const State& state) {
  state.snapshot.restore();
  const Outcome clean = runOf(operation, state);
  for (unsigned nth = 1; nth <= clean.calls.size(); ++nth) {
    const std::string& function = clean.calls[nth - 1].function;
    for (const bool made : {false, true}) {
      // C_Finalize is always made, or the module would stay up; C_Initialize never, or it would be up unknown
      // to its caller.
      if (function == (made ? "C_Initialize" : "C_Finalize")) continue;
      SCOPED_TRACE(operation.name + " with " + state.name + ", call " + std::to_string(nth) + ' ' + function +
                   (made ? ", made" : ""));
      state.snapshot.restore();
      spytoken().answer("", made ? CKR_GENERAL_ERROR : CKR_DEVICE_ERROR, nth, made);
      expectSound(operation, state, clean, runOf(operation, state));
      ++failures;
    }
  }
}

TEST_F(FailuresTest, LeaveNothingOpenLostOrMixedAndAreReported) {
  const auto leaveTemporarySet = [this] {  // of an attempt that stopped half-way
    const std::string chain = pem(requestChain("temporary"));
    test_support::importChain(*test_support::UserSession(), {label(10, 102), "CCI_CLIENT", "LYR"}, {});
    return chain;
  };
  saveState("nothing", authority.root().PEM_encode());
  saveState("a temporary set", leaveTemporarySet());
  states.front().snapshot.restore();
  provision("installed");
  saveState("an installed set", authority.root().PEM_encode());
  saveState("both", leaveTemporarySet());
  for (const Operation& operation : operations()) {
    for (const State& state : states) failEachCall(operation, state);
  }
  std::cout << "counted: " << failures << " failures of token calls judged\n";
}

}  // namespace ozk::tee
