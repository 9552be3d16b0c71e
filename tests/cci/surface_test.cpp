// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>
#include <vector>

#include "cci_test.h"
#include "support/stored_file.h"

namespace cci_test {
namespace {

using testing::HasSubstr;

std::vector<std::string> lines_of(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// What differs from run to run, made equal.
std::string without_chance(std::string text) {
  for (const char* part : {"([0-9A-F]{2}:){31}[0-9A-F]{2}", "[0-9a-f]{128}", "[0-9a-f]{38,40}",
                           "[0-9]{4}-[0-9-]{5}T[0-9:]{8}Z", "[0-9]+ days left"}) {
    text = std::regex_replace(text, std::regex(part), "#");
  }
  return text;
}

class SurfaceTest : public CciTest {
 protected:
  std::vector<std::string> commands() const {
    std::vector<std::string> found;
    const std::string help = text("cci --help");
    const std::regex name(R"(\n  ([a-z][-a-z]+) +[A-Z])");
    for (std::sregex_iterator each(help.begin(), help.end(), name), none; each != none; ++each) {
      found.push_back((*each)[1]);
    }
    return found;
  }
  std::set<std::string> options_of(const std::string& command) const {
    std::set<std::string> found;
    const std::string help = text("cci " + command + " --help");
    const std::regex name(R"(--[a-z][-a-z0-9]+)");
    for (std::sregex_iterator each(help.begin(), help.end(), name), none; each != none; ++each)
      found.insert(each->str());
    return found;
  }
  void expect_as_shown(const std::string& name) const;
};

TEST_F(SurfaceTest, EachHelpFitsAScreen) {
  std::vector<std::string> all = commands();
  ASSERT_EQ(all.size(), 11u);
  all.emplace_back("");
  for (const std::string& command : all) {
    const auto lines = lines_of(text("cci " + command + " --help"));
    EXPECT_LE(lines.size(), 24u) << command;
    for (const auto& line : lines) EXPECT_LE(line.size(), 80u) << line;
  }
}

TEST_F(SurfaceTest, TheManualNamesAllThatTheHelpNames) {
  const std::string manual = test_support::storedText("docs/man/cci.1");
  for (const std::string& command : commands()) {
    EXPECT_TRUE(std::regex_search(manual, std::regex("\\n\\.(It )?Cm " + command + "[ \\n]"))) << command;
    for (const std::string& option : options_of(command)) {
      EXPECT_NE(manual.find("Fl " + option.substr(1)), std::string::npos) << option;
    }
  }
  EXPECT_EQ(text("mandoc -Tlint -Wwarning '" CCI_PROJECT_FOLDER "/docs/man/cci.1'"), "");
}

TEST_F(SurfaceTest, BashCompletesAllCommandsAndOptions) {
  const auto offered = [&](const std::string& words, int number) {
    return text("compopt() { :; }; . '" CCI_PROJECT_FOLDER "/tools/cci/completion/cci'; COMP_WORDS=(" +
                words + "); COMP_CWORD=" + std::to_string(number) +
                "; _cci; printf '%s\\n' \"${COMPREPLY[@]}\"");
  };
  const std::string all = offered("cci ''", 1);
  for (const std::string& command : commands()) {
    EXPECT_THAT(all, HasSubstr(command + "\n"));
    const auto options = lines_of(offered("cci " + command + " --", 2));
    EXPECT_EQ(std::set<std::string>(options.begin(), options.end()), options_of(command)) << command;
  }
  EXPECT_EQ(offered("cci cert Z", 2), "ZEMP\n");
  EXPECT_EQ(offered("cci sign --key ''", 3), "LYR\nBASE\n");
}

TEST_F(SurfaceTest, ZshCompletesAllCommandsAndOptions) {
  std::ofstream(path(".zshrc"))
      << "PS1='next: '; setopt no_prompt_cr no_prompt_sp; unset zle_bracketed_paste\n"
         "fpath=('" CCI_PROJECT_FOLDER
         "/tools/cci/completion' $fpath)\n"
         "autoload -U compinit; compinit -D -u; cci() { print got: $@ }\n";
  std::vector<std::string> typed;
  std::string wanted;
  for (const std::string& command : commands()) {
    for (const std::string& option : options_of(command)) {
      const std::string part = option == "--hex" ? option : option.substr(0, option.size() - 1);  // or --help
      typed.push_back("cci " + command.substr(0, command.size() - 1) + "\t" + part + "\t\n");
      wanted += "got: " + command + " " + option + "\n";
    }
  }
  typed.emplace_back("exit\n");
  const std::string said =
      token_test::on_terminal("ZDOTDIR='" + path("") + "' TERM=dumb timeout -k 1 --foreground 60 zsh -i",
                              typed)
          .text;
  std::string got;
  for (const auto& line : lines_of(std::regex_replace(said, std::regex("\r"), ""))) {
    if (line.rfind("got: ", 0) == 0) got += line + "\n";
  }
  EXPECT_EQ(got, wanted) << said;
}

// What the blocks of a page show is run line by line, in one shell.
void SurfaceTest::expect_as_shown(const std::string& name) const {
  const auto page = lines_of(test_support::storedText(name));
  std::string script = "rm -r token ca.key ca.pem\n";
  for (const auto& line : page) {
    if (line.rfind("    $ ", 0) == 0) script += "printf '\\036'; { " + line.substr(6) + "\n} 2>&1\n";
  }
  // A port of its own, since others may run the same; and a slow machine takes more than a second.
  script = std::regex_replace(script, std::regex("\\b4433\\b"), std::to_string(20000 + ::getpid() % 10000));
  script = std::regex_replace(script, std::regex("sleep 1\n"),
                              "until grep -qs ACCEPT server.log; do sleep 0.1; done\n");
  std::istringstream outputs(text(script));
  std::string output, result;
  std::getline(outputs, output, '\036');
  for (std::size_t i = 0; i < page.size(); ++i) {
    result += page[i] + "\n";
    if (page[i].rfind("    $ ", 0) != 0) continue;
    std::string shown, printed;
    for (; i + 1 < page.size() && page[i + 1].rfind("    ", 0) == 0 && page[i + 1].rfind("    $ ", 0) != 0;
         ++i) {
      shown += page[i + 1] + "\n";
    }
    std::getline(outputs, output, '\036');
    for (const auto& line : lines_of(output)) printed += line.empty() ? "\n" : "    " + line + "\n";
    result += without_chance(shown) == without_chance(printed) ? shown : printed;
  }
  test_support::expectStored(name, result);
}

TEST_F(SurfaceTest, ThePagesShowWhatTheCommandsPrint) {
  expect_as_shown("docs/cci.md");
  run("rm *.pem *.key");
  expect_as_shown("README.md");
}

}  // namespace
}  // namespace cci_test
