// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <iostream>

#include "api/product_test.h"
#include "support/token_snapshot.h"

namespace ozk::tee {

namespace {

/// A token to begin with, and what a backend answered for its temporary key, if it has one.
struct State {
  std::string name;
  test_support::TokenSnapshot snapshot;
  TokenContent content;
  std::string chain;
};

enum class Kind { kReads, kGenerates, kInstalls, kDeletes };

struct Operation {
  std::string name;
  Kind kind;
  std::function<std::string()> run;  // returns what the caller gets
};

/// What one run of an operation came to.
struct Outcome {
  std::string result;
  bool threw = false, reported = false;
  std::vector<test_support::SpiedCall> calls;
  TokenContent content;
};

std::string nameOf(ResultCode code) { return "code " + std::to_string(static_cast<unsigned>(code)); }

/// One object of each kind, and none of them was there before.
bool isWholeAndNew(const TokenContent& content, const TokenContent& before) {
  return std::equal(content.installed.begin(), content.installed.end(), before.installed.begin(),
                    [](const auto& now, const auto& then) { return now.size() == 1 && now != then; });
}

}  // namespace

/// Each call of each operation, in each state of the token, fails: it is not made, or made and then answered
/// with an error.
class FailuresTest : public ProductTest {
 protected:
  FailuresTest();
  std::string leaveTemporarySet();
  void saveState(const std::string& name, const std::string& issued) {
    states.push_back({name, test_support::TokenSnapshot(token.folder()), TokenContent::now(), issued});
  }
  void restore(const State& state) {
    state.snapshot.restore();
    chain = state.chain;
  }
  std::vector<Operation> operations();
  Outcome outcomeOf(const Operation& operation);
  void failEachCall(const Operation& operation, const State& state);
  void expectNothingOpen(const Operation& operation, const Outcome& outcome);
  void expectSound(const Operation& operation, const TokenContent& before, const Outcome& outcome);

  std::vector<State> states;
  std::string chain;
  std::size_t failures = 0;
};

FailuresTest::FailuresTest() {
  const std::string other_chain = authority.root().PEM_encode();
  test_support::addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
  importBaseKey();
  for (const unsigned index : {11u, 12u, 13u, 14u, 15u}) {
    test_support::importCertificate(*test_support::UserSession(), {label(1, index)}, authority.root());
  }
  test_support::importData(*test_support::UserSession(), {label(2, 1)}, "VIN");
  saveState("nothing", other_chain);
  saveState("a temporary set", leaveTemporarySet());
  states.front().snapshot.restore();
  provision("installed");
  saveState("an installed set", other_chain);
  saveState("both", leaveTemporarySet());
}

/// As an attempt that stopped half-way does. Returns the answer of a backend.
std::string FailuresTest::leaveTemporarySet() {
  const std::string issued = pem(requestChain("temporary"));
  test_support::importChain(*test_support::UserSession(), {label(10, 102), "CCI_CLIENT", "LYR"}, {});
  return issued;
}

std::vector<Operation> FailuresTest::operations() {
  const auto changes = [](const std::string& name, Kind kind, auto operation) {
    return Operation{name, kind, [operation] { return nameOf(operation()); }};
  };
  const auto reads = [](const std::string& name, auto operation) {
    return Operation{name, Kind::kReads, [operation] {
                       const auto result = operation();
                       return std::string(result.begin(), result.end());
                     }};
  };
  const auto certificates = [&](const std::string& key_id) {
    return reads("get_client_cert " + key_id, [=] { return product->get_client_cert(key_id); });
  };
  const auto public_key = [&](const std::string& key_id) {
    return reads("get_public_key " + key_id, [=] { return product->get_public_key(key_id); });
  };
  const auto presence = [&](const std::string& name, auto operation) {  // what differs from call to call
    return reads(name, [=] { return std::string(operation().empty() ? "" : "something"); });
  };
  return {
      changes("generate", Kind::kGenerates, [=] { return product->generate_private_key("LYR_CSR"); }),
      changes("install", Kind::kInstalls,
              [=] { return product->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR"); }),
      changes("delete", Kind::kDeletes, [=] { return product->set_client_cert_and_move_key("", "", "LYR"); }),
      presence("generate_csr", [=] { return product->generate_csr("", "LYR_CSR"); }),
      presence("sign with LYR", [=] { return product->generate_signature("LYR", {1}, ""); }),
      presence("sign with BASE", [=] { return product->generate_signature("BASE", {1}, ""); }),
      public_key("LYR"),
      public_key("LYR_CSR"),
      certificates("LYR"),
      certificates("ZEMP"),
      certificates("BASE"),
      reads("get_root_cert_bundle", [=] { return product->get_root_cert_bundle("group"); }),
      reads("get_zemp_vin", [=] { return product->get_zemp_vin(); })};
}

Outcome FailuresTest::outcomeOf(const Operation& operation) {
  log.take();
  spytoken().take_calls();
  Outcome outcome;
  try {
    outcome.result = operation.run();
  } catch (const Botan::PKCS11::PKCS11_ReturnError&) {
    outcome.threw = true;
  }
  outcome.calls = spytoken().take_calls();
  for (const auto& line : log.take()) outcome.reported |= line.level == ara::log::LogLevel::kError;
  spytoken().stop_interfering();
  expectNothingOpen(operation, outcome);
  outcome.content = TokenContent::now();
  return outcome;
}

void FailuresTest::expectNothingOpen(const Operation& operation, const Outcome& outcome) {
  const auto count = [&](const std::string& function, bool successful) {
    return std::count_if(outcome.calls.begin(), outcome.calls.end(), [&](const auto& call) {
      return call.function == function && (!successful || call.code == CKR_OK);
    });
  };
  EXPECT_EQ(spytoken().module().cryptoki->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
  EXPECT_LE(count("C_FindObjectsInit", true), count("C_FindObjectsFinal", false));
  // A generation that succeeds leaves its session to the end of the module.
  const bool released = operation.kind == Kind::kGenerates && outcome.result == nameOf(ResultCode::OK);
  EXPECT_EQ(count("C_OpenSession", true), count("C_CloseSession", false) + released);
}

void FailuresTest::expectSound(const Operation& operation, const TokenContent& before,
                               const Outcome& outcome) {
  const bool deletes = operation.kind == Kind::kDeletes, installs = operation.kind == Kind::kInstalls;
  EXPECT_EQ(outcome.content.others, before.others);
  EXPECT_TRUE(deletes || outcome.content.installed == before.installed ||
              (installs && isWholeAndNew(outcome.content, before)));
  if (deletes || operation.kind == Kind::kReads) {
    EXPECT_EQ(outcome.content.temporary, before.temporary);
  }
  EXPECT_EQ(product->get_zemp_vin(), "VIN") << "the next call works";
  const auto& [public_keys, private_keys, chains] = outcome.content.installed;
  EXPECT_TRUE(public_keys.empty() || private_keys.empty() || signsWithInstalledKey());
  if (!public_keys.empty() && !chains.empty()) {
    EXPECT_EQ(certifiedKey(product->get_client_cert("LYR")), product->get_public_key("LYR"));
  }
}

void FailuresTest::failEachCall(const Operation& operation, const State& state) {
  restore(state);
  const Outcome clean = outcomeOf(operation);
  for (unsigned nth = 1; nth <= clean.calls.size(); ++nth) {
    const std::string& function = clean.calls[nth - 1].function;
    for (const bool made : {false, true}) {
      // C_Finalize is always made, or the module would stay up; C_Initialize never, or it would be up unknown
      // to its caller.
      if (function == (made ? "C_Initialize" : "C_Finalize")) continue;
      SCOPED_TRACE(operation.name + " with " + state.name + ", call " + std::to_string(nth) + ' ' + function +
                   (made ? ", made" : ""));
      restore(state);
      spytoken().answer("", made ? CKR_GENERAL_ERROR : CKR_DEVICE_ERROR, nth, made);
      const Outcome outcome = outcomeOf(operation);
      EXPECT_TRUE(outcome.threw || outcome.reported || outcome.result == clean.result) << "no word of it";
      expectSound(operation, state.content, outcome);
      ++failures;
    }
  }
}

TEST_F(FailuresTest, LeaveNothingOpenLostOrMixedAndAreReported) {
  for (const Operation& operation : operations()) {
    for (const State& state : states) failEachCall(operation, state);
  }
  std::cout << "counted: " << failures << " failures of token calls judged\n";
}

}  // namespace ozk::tee
