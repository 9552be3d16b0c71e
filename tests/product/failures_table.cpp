// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "failures_table.h"

#include <algorithm>

namespace ozk::tee {

const char* const kFailuresIntroduction = R"(# What comes of each failure

A test writes this page and compares it. It answers each call that an operation makes to the token with each of
`CKR_HOST_MEMORY`, `CKR_GENERAL_ERROR`, `CKR_FUNCTION_FAILED`, `CKR_DEVICE_ERROR`, `CKR_DEVICE_MEMORY`,
`CKR_DEVICE_REMOVED`, `CKR_SESSION_HANDLE_INVALID`, `CKR_OBJECT_HANDLE_INVALID`, `CKR_USER_NOT_LOGGED_IN` and
`CKR_TOKEN_NOT_PRESENT`, and does not make it (but for `C_Finalize`, which a module always does). Then it has the call
made, and answered with an error all the same (but for `C_Initialize`, which a module has done when it says so); where
that comes to something else there is a line that says "done", after the others. *n* is the code, in decimal; if codes
made a difference, lines would name them.

After each failure no session, search or module is open, the next call works, an installed set is the old or the
new one, whole, and its key signs what its certificate verifies. A deletion alone may leave part of a set, which
the next deletion or installation removes. A set is a key pair and its chain. Lines are in the order of the calls.
)";

namespace {

/// Calls one after another that come to the same.
struct Line {
  std::vector<std::string> calls;
  std::string outcome;
};

std::string joined(const std::vector<std::string>& parts, const std::string& between) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : between) + part;
  return text;
}

/// "A, B (twice), C": neighbours that are the same are counted.
std::string listOf(const std::vector<std::string>& calls) {
  std::vector<std::string> parts;
  for (auto call = calls.begin(); call != calls.end();) {
    const auto next =
        std::find_if(call, calls.end(), [&](const std::string& other) { return other != *call; });
    const auto count = next - call;
    parts.push_back(*call + (count == 1   ? ""
                             : count == 2 ? " twice"
                                          : " " + std::to_string(count) + " times"));
    call = next;
  }
  return joined(parts, ", ");
}

std::string cells(const Outcome& outcome, bool changes) {
  std::string text = outcome.seen + " | " + joined(outcome.errors, "<br>");
  if (changes) text += " | " + outcome.installed + " | " + outcome.temporary;
  return text;
}

std::string codesOf(const std::vector<CK_RV>& codes) {
  std::vector<std::string> numbers;
  for (const CK_RV code : codes) numbers.push_back(std::to_string(code));
  return " with " + joined(numbers, ", ");
}

std::vector<Line> linesOf(const std::vector<Failure>& failures, const std::string& mark, bool changes) {
  std::vector<Line> lines;
  for (const Failure& failure : failures) {
    for (const auto& [outcome, codes] : failure.outcomes) {
      const std::string call = failure.call + mark + (failure.outcomes.size() == 1 ? "" : codesOf(codes));
      const std::string text = cells(outcome, changes);
      if (lines.empty() || lines.back().outcome != text) lines.push_back({{}, text});
      lines.back().calls.push_back(call);
    }
  }
  return lines;
}

/// Those that come to something else when the module did the call.
std::vector<Failure> differing(const FailureTable& table) {
  std::vector<Failure> found;
  for (const Failure& done : table.failures_done) {
    const bool same = std::any_of(table.failures.begin(), table.failures.end(), [&](const Failure& not_done) {
      return not_done.position == done.position && not_done.outcomes.count(done.outcomes.begin()->first) != 0;
    });
    if (!same) found.push_back(done);
  }
  return found;
}

/// With a blank around each attribute.
std::string replacedBrackets(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '[' || c == ']'; }, ' ');
  return text;
}

}  // namespace

std::string describeCall(const test_support::SpiedCall& call) {
  const std::string attributes = replacedBrackets(call.text);
  const auto has = [&](const char* attribute) {
    return attributes.find(std::string(" ") + attribute) != std::string::npos;
  };
  if (call.function == "C_GetAttributeValue") {
    return call.function + (has("180= ") ? " (curve)" : has("181= ") ? " (point)" : " (value)");
  }
  if (call.function != "C_FindObjectsInit") return call.function;
  const std::string state = has("80001004=01 ") ? "installed " : has("80001004=00 ") ? "temporary " : "";
  const bool of_a_client = has("80001002=");
  const char* const kind = has("80001005=")             ? "roots"
                           : has("0=0110008000000000 ") ? "group"
                           : has("0=0300000000000000 ") ? "private key"
                           : has("0=0200000000000000 ") ? "public key"
                           : has("0=0000000000000000 ") ? "VIN"
                           : of_a_client                ? "chain"
                                                        : "certificate";
  return call.function + " (" + state + kind + ")";
}

std::string textOf(const FailureTable& table, bool changes) {
  std::string text =
      changes ? "| call that fails | the caller sees | error records | installed set | temporary set |\n"
                "|---|---|---|---|---|\n"
              : "| call that fails | the caller sees | error records |\n|---|---|---|\n";
  std::vector<Line> lines = {{{"none"}, cells(table.without_failure, changes)}};
  for (const auto& each :
       {linesOf(table.failures, "", changes), linesOf(differing(table), " done", changes)}) {
    lines.insert(lines.end(), each.begin(), each.end());
  }
  for (const Line& line : lines) text += "| " + listOf(line.calls) + " | " + line.outcome + " |\n";
  return text;
}

}  // namespace ozk::tee
