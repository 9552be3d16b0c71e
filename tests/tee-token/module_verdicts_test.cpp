// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "admin_shell.h"
#include "support/stored_file.h"
#include "support/temporary_folder.h"

namespace token_test {
namespace {

using Json = nlohmann::json;

/// A module, and what goes before a command that works on its token.
struct Peer {
  std::string name, module, environment;
};

/// The clauses of a check of a new token with one object, which is all that is left afterwards.
Json clauses_of(const Peer& peer, const std::filesystem::path& folder) {
  const std::string module = " '" + peer.module + "' ", tool = "'" TEE_TOKEN_ADMIN "' --module" + module;
  const std::string left = (folder / "left").string();
  const std::string command = tool + "init >&2; " + tool + "import-data 2_1 VIN >&2; " + tool +
                              "check-module --json --limit 300" + module + "; " + tool + "list >'" + left +
                              "'";
  const Outcome outcome = shell("(" + peer.environment + " sh -c \"" + command + "\") 2>/dev/null");
  EXPECT_EQ(shell("tail -n 1 '" + left + "'").text, "1 object\n") << peer.name;
  return Json::parse(outcome.text).at("clauses");
}

/// Without the times that were measured.
std::string verdict(const Json& clause) {
  const std::string verdict = clause.at("verdict"), found = clause.at("found");
  const bool timed = verdict == "measured" || verdict == "slow";
  return verdict == "ok" ? verdict : timed ? "measured" : "**" + verdict + "** " + found;
}

std::string rows(const std::vector<std::vector<std::string>>& table) {
  static const std::regex bar("\\|");
  std::string text;
  for (const auto& cells : table) {
    text += "|";
    for (const std::string& cell : cells) {
      text += " " + std::regex_replace(cell, bar, "\\|") + " |";
    }
    text += "\n";
  }
  return text;
}

/// The page with its table number `number`, of those whose first column is the clause, replaced.
std::string with_table(const std::string& page, int number, const std::string& table) {
  const std::string beginning = "\n\n| clause |";
  std::size_t begin = page.find(beginning);
  for (; number > 0; --number) {
    begin = page.find(beginning, begin + 1);
  }
  const std::size_t end = begin == std::string::npos ? begin : page.find("|\n\n", begin);
  EXPECT_NE(end, std::string::npos) << "the page lacks a table, or text behind it";
  return end == std::string::npos ? page : page.substr(0, begin + 2) + table + page.substr(end + 2);
}

/// The platform's token, and what Debian has.
std::vector<Peer> peers_in(const std::filesystem::path& folder) {
  for (const char* name : {"soft", "tpm"}) {
    std::filesystem::create_directory(folder / name);
  }
  std::ofstream(folder / "conf") << "directories.tokendir = " << (folder / "soft").string() << '\n';
  const auto in_folder = [&](const char* name) { return "'" + (folder / name).string() + "'"; };
  return {
      {"libteetoken.so", TEE_TOKEN_MODULE, "TEE_TOKEN_LOG=off TEE_TOKEN_DIR=" + in_folder("tee")},
      {"SoftHSM 2.6.1", SOFTHSM, "SOFTHSM2_CONF=" + in_folder("conf")},
      {"tpm2-pkcs11 1.9.0", TPM_MODULE,
       "'" CCI_PROJECT_FOLDER "/tests/tee-token/on_tpm.sh' " + in_folder("tpm")},
  };
}

TEST(ModuleVerdicts, AreThoseOfThePage) {
  const test_support::TemporaryFolder folder;
  std::vector<std::vector<std::string>> needs = {
      {"clause", "what is tried: it ...", "what a module has to do"}, {"---", "---", "---"}};
  std::vector<std::vector<std::string>> verdicts = {{"clause"}, {"---"}};
  for (const Peer& peer : peers_in(folder.path())) {
    const Json clauses = clauses_of(peer, folder.path());
    verdicts[0].push_back(peer.name);
    verdicts[1].push_back("---");
    for (std::size_t i = 0; i < clauses.size(); ++i) {
      const Json& clause = clauses[i];
      if (verdicts.size() == i + 2) {  // the first module
        needs.push_back({clause.at("clause"), clause.at("tried"), clause.at("needed")});
        verdicts.push_back({clause.at("clause")});
      }
      verdicts[i + 2].push_back(verdict(clause));
    }
  }
  const std::string page = "docs/integration.md";
  const std::string stored = test_support::storedText(page);
  test_support::expectStored(page, with_table(with_table(stored, 0, rows(needs)), 1, rows(verdicts)));
}

}  // namespace
}  // namespace token_test
