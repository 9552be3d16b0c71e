// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <cctype>
#include <functional>
#include <iostream>
#include <map>

#include "api/product_test.h"
#include "failures_table.h"
#include "support/spytoken.h"
#include "support/stored_file.h"
#include "support/token_snapshot.h"
#include "token_content.h"

namespace ozk::tee {

using test_support::LogLine;
using test_support::SpiedCall;
using test_support::spytoken;

namespace {

#ifdef CCI_SANITIZED  // ten times slower, and a code is as good as another
constexpr CK_RV kCodes[] = {CKR_DEVICE_ERROR};
#else
constexpr CK_RV kCodes[] = {
    CKR_HOST_MEMORY,        CKR_GENERAL_ERROR,    CKR_FUNCTION_FAILED,        CKR_DEVICE_ERROR,
    CKR_DEVICE_MEMORY,      CKR_DEVICE_REMOVED,   CKR_SESSION_HANDLE_INVALID, CKR_OBJECT_HANDLE_INVALID,
    CKR_USER_NOT_LOGGED_IN, CKR_TOKEN_NOT_PRESENT};
#endif

enum class Kind { kReads, kGenerates, kInstalls, kDeletes };

/// A token to begin with.
struct State {
  std::string name;
  test_support::TokenSnapshot snapshot;
  TokenContent content;
  std::string chain;  // PEM, for its temporary key if it has one
};

struct Operation {
  std::string name;
  Kind kind;
  std::function<std::string(const State&)> run;  // what the caller sees, in words
};

/// What one run of an operation came to.
struct Result {
  std::string seen;
  std::vector<LogLine> records;
  std::vector<SpiedCall> calls;
  TokenContent content;
};

std::string nameOf(ResultCode code) {
  static const std::map<ResultCode, std::string> names = {
      {ResultCode::OK, "`OK`"},
      {ResultCode::TOKEN_STORE_ERROR, "`TOKEN_STORE_ERROR`"},
      {ResultCode::INVALID_KEY_ID, "`INVALID_KEY_ID`"},
      {ResultCode::CRYPTO_OP_ERROR, "`CRYPTO_OP_ERROR`"}};
  return names.at(code);
}

std::size_t callsOf(const std::vector<SpiedCall>& calls, const std::string& function, bool successful) {
  return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [&](const SpiedCall& call) {
    return call.function == function && (!successful || call.code == CKR_OK);
  }));
}

bool isWholeAndNew(const ObjectSet& set, const ObjectSet& old) {
  return std::equal(set.begin(), set.end(), old.begin(),
                    [](const auto& kind, const auto& before) { return kind.size() == 1 && kind != before; });
}

/// A text that tells the same of each code.
std::string withoutCode(std::string text, CK_RV code) {
  const std::string number = "PKCS11 error " + std::to_string(code);
  const auto at = text.find(number);
  const bool whole =
      at != std::string::npos && !std::isdigit(static_cast<unsigned char>(text[at + number.size()]));
  return whole ? text.replace(at, number.size(), "PKCS11 error *n*") : text;
}

}  // namespace

/// Each call of each operation, in each state of the token, answered with each code.
class FailuresTest : public ProductTest {
 protected:
  FailuresTest() {
    test_support::addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
    prepareDevice();
    saveStates();
  }

  void prepareDevice();
  void leaveTemporaries();
  void saveState(const std::string& name);
  void saveStates();
  std::vector<Operation> operations();
  std::string certificates(const std::string& key_id, std::size_t whole);

  Result resultOf(const Operation& operation, const State& state);
  static Outcome outcomeOf(const State& state, const Result& run, CK_RV code, const Failure& so_far);
  FailureTable tableOf(const Operation& operation, const State& state);
  Failure failureOf(const Operation& operation, const State& state, const Result& clean, std::size_t nth,
                    bool done);
  void judge(const Operation& operation, const State& state, const Result& clean, const Result& run);
  void requireNothingOpen(const Operation& operation, const Result& run);
  void requireServing(const TokenContent& content);

  std::vector<State> states;
  std::string chain = authority.root().PEM_encode();
  std::size_t failures = 0;
};

void FailuresTest::prepareDevice() {
  importBaseKey();
  test_support::UserSession session;
  for (const unsigned index : {11u, 12u, 13u, 14u, 15u}) {
    test_support::importCertificate(*session, {label(1, index)}, authority.root());
  }
  test_support::importData(*session, {label(2, 1)}, "VIN");
}

void FailuresTest::leaveTemporaries() {
  chain = test_support::pem(requestChain("temporary"));
  test_support::UserSession session;  // of an attempt that stopped half-way
  test_support::importChain(*session, {label(10, 102), "CCI_CLIENT", "LYR"}, {});
}

void FailuresTest::saveState(const std::string& name) {
  const auto content = TokenContent::now();
  states.push_back({name, test_support::TokenSnapshot(token.folder()), content, chain});
}

void FailuresTest::saveStates() {
  saveState("nothing");
  leaveTemporaries();
  saveState("a temporary set");
  states.front().snapshot.restore();
  provision("installed");
  saveState("an installed set");
  leaveTemporaries();
  saveState("both");
}

std::string FailuresTest::certificates(const std::string& key_id, std::size_t whole) {
  const std::string text = product->get_client_cert(key_id);
  std::size_t count = 0;
  for (auto at = text.find("BEGIN"); at != std::string::npos; at = text.find("BEGIN", at + 1)) ++count;
  return count == 0       ? "nothing"
         : count == whole ? "the certificates"
                          : std::to_string(count) + " of " + std::to_string(whole) + " certificates";
}

std::vector<Operation> FailuresTest::operations() {
  const auto reads = [](const std::string& name, auto operation) {
    return Operation{name, Kind::kReads, [operation](const State&) -> std::string {
                       return operation().empty() ? "nothing" : "the result";
                     }};
  };
  const auto lists = [this](const std::string& key_id, std::size_t whole) {
    return Operation{"get_client_cert(\"" + key_id + "\")", Kind::kReads,
                     [this, key_id, whole](const State&) { return certificates(key_id, whole); }};
  };
  return {{"generate_private_key(\"LYR_CSR\")", Kind::kGenerates,
           [this](const State&) { return nameOf(product->generate_private_key("LYR_CSR")); }},
          reads("generate_csr(name, \"LYR_CSR\")", [this] { return product->generate_csr("n", "LYR_CSR"); }),
          {"set_client_cert_and_move_key(chain, \"LYR_CSR\", \"LYR\")", Kind::kInstalls,
           [this](const State& state) {
             return nameOf(product->set_client_cert_and_move_key(state.chain, "LYR_CSR", "LYR"));
           }},
          {"set_client_cert_and_move_key(\"\", \"\", \"LYR\")", Kind::kDeletes,
           [this](const State&) { return nameOf(product->set_client_cert_and_move_key("", "", "LYR")); }},
          reads("generate_signature(\"LYR\", data, \"\")",
                [this] { return product->generate_signature("LYR", {1}, ""); }),
          reads("generate_signature(\"BASE\", data, \"\")",
                [this] { return product->generate_signature("BASE", {1}, ""); }),
          reads("get_public_key(\"LYR\")", [this] { return product->get_public_key("LYR"); }),
          reads("get_public_key(\"LYR_CSR\")", [this] { return product->get_public_key("LYR_CSR"); }),
          lists("LYR", 2),
          lists("ZEMP", 2),
          lists("BASE", 3),
          reads("get_root_cert_bundle(group)", [this] { return product->get_root_cert_bundle("group"); }),
          reads("get_zemp_vin()", [this] { return product->get_zemp_vin(); })};
}

Result FailuresTest::resultOf(const Operation& operation, const State& state) {
  log.take();
  spytoken().take_calls();
  Result run;
  try {
    run.seen = operation.run(state);
  } catch (const Botan::PKCS11::PKCS11_ReturnError& error) {
    run.seen = std::string("throws ") + error.what();
  }
  run.calls = spytoken().take_calls();
  run.records = log.take();
  spytoken().stop_interfering();
  requireNothingOpen(operation, run);
  run.content = TokenContent::now();
  return run;
}

void FailuresTest::requireNothingOpen(const Operation& operation, const Result& run) {
  EXPECT_EQ(spytoken().module().cryptoki->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
  EXPECT_LE(callsOf(run.calls, "C_FindObjectsInit", true), callsOf(run.calls, "C_FindObjectsFinal", false));
  // A generation that succeeds gives its session up to the end of the module.
  const bool given_up = operation.kind == Kind::kGenerates && run.seen == nameOf(ResultCode::OK);
  EXPECT_EQ(callsOf(run.calls, "C_OpenSession", true),
            callsOf(run.calls, "C_CloseSession", false) + given_up);
}

/// Whoever can sign has the certificate for it, if any.
void FailuresTest::requireServing(const TokenContent& content) {
  if (content.installed[1].empty() || content.installed[2].empty()) return;
  const Bytes data = {1, 2, 3};
  const std::string key = certifiedKey(product->get_client_cert("LYR"));
  EXPECT_TRUE(verifies(key, data, product->generate_signature("LYR", data, "")));
  if (!content.installed[0].empty()) {
    EXPECT_EQ(product->get_public_key("LYR"), key);
  }
}

void FailuresTest::judge(const Operation& operation, const State& state, const Result& clean,
                         const Result& run) {
  EXPECT_EQ(run.content.others, state.content.others);
  const bool same_installed = run.content.installed == state.content.installed;
  switch (operation.kind) {
    case Kind::kReads:
      EXPECT_EQ(run.content, state.content);
      break;
    case Kind::kGenerates:
      EXPECT_TRUE(same_installed);
      break;
    case Kind::kInstalls:
      EXPECT_TRUE(same_installed || isWholeAndNew(run.content.installed, state.content.installed));
      break;
    case Kind::kDeletes:
      EXPECT_EQ(run.content.temporary, state.content.temporary);
      break;
  }
  // Where an operation ends early and says nothing, it has said what it says up to there.
  const bool silent = std::none_of(run.records.begin(), run.records.end(), [](const LogLine& line) {
    return line.level == ara::log::LogLevel::kError;
  });
  if (silent && run.seen != clean.seen && run.records.size() <= clean.records.size()) {
    EXPECT_TRUE(std::equal(run.records.begin(), run.records.end(), clean.records.begin()));
  }
  EXPECT_EQ(product->get_zemp_vin(), "VIN") << "the next call works";
  if (operation.kind != Kind::kReads) requireServing(run.content);
}

/// `so_far`: what other codes came to. A code that the module also gives by itself must not look like a
/// difference.
Outcome FailuresTest::outcomeOf(const State& state, const Result& run, CK_RV code, const Failure& so_far) {
  Outcome outcome = {run.seen,
                     {},
                     describe(state.content.installed, run.content.installed),
                     describe(state.content.temporary, run.content.temporary)};
  for (const LogLine& line : run.records) {
    if (line.level == ara::log::LogLevel::kError) outcome.errors.push_back(withoutCode(line.text, code));
  }
  if (so_far.outcomes.count(outcome) == 0) outcome.seen = withoutCode(run.seen, code);
  return outcome;
}

/// `nth` call, from 0. `done`: the module did it, and says that it failed.
Failure FailuresTest::failureOf(const Operation& operation, const State& state, const Result& clean,
                                std::size_t nth, bool done) {
  Failure failure = {nth, describeCall(clean.calls[nth]), {}};
  for (const CK_RV code : kCodes) {
    SCOPED_TRACE(operation.name + " with " + state.name + ", call " + std::to_string(nth) + ' ' +
                 failure.call + ", code " + std::to_string(code) + (done ? ", done" : ""));
    state.snapshot.restore();
    test_support::Interference interference;
    interference.nth = static_cast<unsigned>(nth + 1);
    interference.after = done;
    interference.answer = code;
    spytoken().interfere(interference);
    const Result run = resultOf(operation, state);
    judge(operation, state, clean, run);
    ++failures;
    failure.outcomes[outcomeOf(state, run, code, failure)].push_back(code);
    if (done) break;  // as good as any other
  }
  return failure;
}

FailureTable FailuresTest::tableOf(const Operation& operation, const State& state) {
  state.snapshot.restore();
  const Result clean = resultOf(operation, state);
  FailureTable table;
  table.without_failure = {clean.seen,
                           {},
                           describe(state.content.installed, clean.content.installed),
                           describe(state.content.temporary, clean.content.temporary)};
  for (std::size_t nth = 0; nth < clean.calls.size(); ++nth) {
    const std::string& function = clean.calls[nth].function;
    // C_Finalize is always made, or the module would stay up; C_Initialize never, or it would be up unknown
    // to its caller.
    const bool always_done = function == "C_Finalize", never_done = function == "C_Initialize";
    table.failures.push_back(failureOf(operation, state, clean, nth, always_done));
    if (!always_done && !never_done)
      table.failures_done.push_back(failureOf(operation, state, clean, nth, true));
  }
  return table;
}

TEST_F(FailuresTest, LeaveNothingOpenLostOrMixedAndAreToldAsTheTableSays) {
  std::string text = kFailuresIntroduction;
  for (const Operation& operation : operations()) {
    std::map<std::string, std::string> states_by_table;  // states with the same table share it
    std::vector<std::string> order;
    for (const State& state : states) {
      const std::string table = textOf(tableOf(operation, state), operation.kind != Kind::kReads);
      std::string& names = states_by_table[table];
      if (names.empty()) order.push_back(table);
      names += (names.empty() ? "" : "; ") + state.name;
    }
    text += "\n## `" + operation.name + "`\n";
    for (const std::string& table : order) {
      text += "\nThe token holds: " + states_by_table[table] + ".\n\n" + table;
    }
  }
  std::cout << "counted: " << failures << " failures of token calls judged\n";
  test_support::expectPage("docs/failures.md", text);
}

}  // namespace ozk::tee
