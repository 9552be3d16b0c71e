// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <regex>
#include <set>

#include "base/return_value_name.h"
#include "support/documented_texts.h"
#include "support/stored_file.h"

namespace token_test {
namespace {

using test_support::sourcesIn;
using test_support::storedText;

struct Token {
  bool is_text;
  std::string value;
};
using Tokens = std::vector<Token>;

/// Adjacent literals are one, wherever the line breaks; comments and blanks are left out.
Tokens tokensOf(const std::string& source) {
  static const std::regex token(R"re(//[^\n]*|"((?:[^"\\\n]|\\.)*)"|'(?:[^'\\\n]|\\.)+'|\w+|[^\s])re");
  static const std::regex quote(R"re(\\")re");
  Tokens tokens;
  for (std::sregex_iterator at(source.begin(), source.end(), token), end; at != end; ++at) {
    const bool is_text = (*at)[1].matched;
    const std::string value = is_text ? std::regex_replace((*at)[1].str(), quote, "\"") : at->str();
    if (value.rfind("//", 0) == 0 && !is_text) continue;
    if (is_text && !tokens.empty() && tokens.back().is_text) {
      tokens.back().value += value;
    } else {
      tokens.push_back({is_text, value});
    }
  }
  return tokens;
}

/// What is between the separators that are in no bracket, as far as a bracket that was opened before.
std::vector<Tokens> split(Tokens::const_iterator at, Tokens::const_iterator end, char separator) {
  std::vector<Tokens> parts(1);
  for (int depth = 0; at != end; ++at) {
    const char mark = at->is_text || at->value.size() != 1 ? ' ' : at->value[0];
    depth += mark == '(' || mark == '[' || mark == '{' ? 1 : 0;
    depth -= mark == ')' || mark == ']' || mark == '}' ? 1 : 0;
    if (depth < 0) break;
    if (depth == 0 && mark == separator) {
      parts.emplace_back();
    } else {
      parts.back().push_back(*at);
    }
  }
  return parts;
}

/// The literals of a sum; "..." for everything else in it.
std::string textOf(const Tokens& sum) {
  constexpr char kAny[] = "...";
  std::string text;
  for (const Tokens& term : split(sum.begin(), sum.end(), '+')) {
    const bool is_literal = term.size() == 1 && term[0].is_text;
    const bool is_string =
        term.size() == 7 && term[3].value == "string" && term[5].is_text;  // std::string("")
    const std::string said = is_literal ? term[0].value : is_string ? term[5].value : kAny;
    const bool goes_on = said == kAny && text.size() >= 3 && text.compare(text.size() - 3, 3, kAny) == 0;
    text += goes_on ? "" : said;
  }
  return text;
}

/// The texts of all failures that the token tells.
std::set<std::string> textsOfFailures() {
  const std::set<std::string> names = {"Failure", "Damage", "refuse"};
  std::set<std::string> texts;
  for (const auto& source : sourcesIn("platform/tee-token")) {
    const Tokens tokens = tokensOf(source.second);
    for (std::size_t at = 0; at + 2 < tokens.size(); ++at) {
      if (tokens[at].is_text || names.count(tokens[at].value) == 0 || tokens[at + 1].value != "(") continue;
      const auto arguments = split(tokens.begin() + static_cast<std::ptrdiff_t>(at) + 2, tokens.end(), ',');
      // A refuse() of three makes errors of its callers, which are not told; that with CK_RV is declared
      // there.
      if (arguments.size() != 2 || arguments[0].front().value == "CK_RV") continue;
      texts.insert(textOf(arguments[1]));
    }
  }
  return texts;
}

/// The literals of each source of the programs, and ./run as it is.
std::vector<std::string> literalsOfThePrograms() {
  std::vector<std::string> literals = {storedText("run")};
  for (const char* folder : {"platform", "src", "tools"}) {
    for (const auto& source : sourcesIn(folder)) {
      literals.emplace_back();
      for (const Token& token : tokensOf(source.second)) {
        if (token.is_text) literals.back() += token.value + "\n";
      }
    }
  }
  return literals;
}

const std::string& page() {
  static const std::string text = storedText("docs/troubleshooting.md");
  return text;
}

/// The page's section of failure lines, and the others.
std::pair<std::string, std::string> sections() {
  const std::size_t start = page().find("\n## Failure lines of the token");
  if (start == std::string::npos) return {"", page()};
  const std::size_t end = page().find("\n## ", start + 1);
  return {page().substr(start, end - start), page().substr(0, start) + page().substr(end)};
}

void expectOneRowEach(const std::set<std::string>& said, const std::vector<std::string>& rows) {
  for (const std::string& text : said) {
    EXPECT_EQ(std::count(rows.begin(), rows.end(), text), 1) << "rows for \"" << text << '"';
  }
  for (const std::string& row : rows) EXPECT_EQ(said.count(row), 1U) << "nothing says \"" << row << '"';
}

TEST(TroubleshootingTest, HasEachFailureOfTheTokenAndNoOther) {
  const std::set<std::string> texts = textsOfFailures();
  EXPECT_GT(texts.size(), 40U);
  EXPECT_EQ(texts.count("..."), 0U) << "a failure has no words of its own, so no row can explain it";
  expectOneRowEach(texts, test_support::documentedTexts(sections().first));
}

TEST(TroubleshootingTest, HasNoMessageThatNoProgramGives) {
  const std::vector<std::string> literals = literalsOfThePrograms();
  const auto messages = test_support::documentedTexts(sections().second);
  EXPECT_GT(messages.size(), 50U);
  for (const std::string& message : messages) {
    const auto parts = test_support::partsOf(message);
    const bool is_given = std::any_of(literals.begin(), literals.end(), [&](const std::string& source) {
      return std::all_of(parts.begin(), parts.end(),
                         [&](const std::string& part) { return source.find(part) != std::string::npos; });
    });
    EXPECT_TRUE(is_given) << "no program says \"" << message << '"';
  }
}

TEST(TroubleshootingTest, HasEachCodeThatTheTokenAnswers) {
  std::set<std::string> answered;
  for (const auto& source : sourcesIn("platform/tee-token")) {
    if (source.first == "return_value_name.cpp") continue;  // it has names for codes of any token
    for (const Token& token : tokensOf(source.second)) {
      if (!token.is_text && token.value.rfind("CKR_", 0) == 0) answered.insert(token.value);
    }
  }
  answered.erase("CKR_OK");
  std::vector<std::string> rows;
  static const std::regex row("\n\\| (\\d+) \\| `(CKR_\\w+)` \\|");
  for (std::sregex_iterator at(page().begin(), page().end(), row), end; at != end; ++at) {
    EXPECT_EQ(tee_token::return_value_name(std::stoul((*at)[1])), (*at)[2].str());
    rows.push_back((*at)[2]);
  }
  expectOneRowEach(answered, rows);
}

}  // namespace
}  // namespace token_test
