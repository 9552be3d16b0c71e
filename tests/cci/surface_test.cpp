// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <regex>
#include <set>
#include <sstream>
#include <vector>

#include "cci_test.h"

namespace cci_test {
namespace {

/// A command that a page shows, and what it prints.
struct Example {
  std::string command, output;
};

std::vector<Example> examples_of(const std::string& page) {
  std::ifstream file(CCI_PROJECT_FOLDER "/" + page);
  std::vector<Example> examples;
  bool in_block = false;
  for (std::string line; std::getline(file, line);) {
    const bool command = line.rfind("    $ ", 0) == 0;
    in_block = command || (in_block && line.rfind("    ", 0) == 0);
    if (command) {
      examples.push_back({line.substr(6), ""});
    } else if (in_block) {
      examples.back().output += line.substr(4) + "\n";
    }
  }
  return examples;
}

/// The text without what differs from run to run.
std::string constant_part(std::string text) {
  for (const char* part : {"([0-9A-F]{2}:){31}[0-9A-F]{2}", "[0-9a-f]{128}", "[0-9a-f]{38,40}",
                           "[0-9]{4}-[0-9-]{5}T[0-9:]{8}Z", "[0-9]+ days left"}) {
    text = std::regex_replace(text, std::regex(part), "#");
  }
  return text;
}

using SurfaceTest = CciTest;

TEST_F(SurfaceTest, ThePagesShowWhatTheirCommandsPrint) {
  for (const char* page : {"docs/cci.md", "README.md"}) {
    const auto examples = examples_of(page);
    std::string script = "rm -rf token *.key *.pem\n";
    for (const auto& each : examples) script += "printf '\\036'; { " + each.command + "\n} 2>&1\n";
    // Others may run the same page; and a slow machine takes more than a second.
    script = std::regex_replace(script, std::regex("\\b4433\\b"), std::to_string(20000 + ::getpid() % 10000));
    script = std::regex_replace(script, std::regex("sleep 1\n"),
                                "until grep -qs ACCEPT server.log; do sleep 0.1; done\n");
    std::istringstream outputs(text(script));
    std::string printed;
    std::getline(outputs, printed, '\036');
    EXPECT_GT(examples.size(), 5u) << page;
    for (const auto& each : examples) {
      std::getline(outputs, printed, '\036');
      EXPECT_EQ(constant_part(each.output), constant_part(printed)) << page << ": " << each.command;
    }
  }
}

TEST_F(SurfaceTest, BashCompletesAllCommandsAndOptions) {
  const auto words = [&](const std::string& command, const char* pattern) {
    std::set<std::string> found;
    const std::string all = text(command);
    const std::regex name(pattern);
    for (std::sregex_iterator each(all.begin(), all.end(), name), none; each != none; ++each) {
      found.insert((*each)[1]);
    }
    return found;
  };
  const std::string completion = ". '" CCI_PROJECT_FOLDER "/tools/cci/completion/cci'; COMP_WORDS=(cci ";
  const std::string offer = "; _cci; printf '%s\\n' \"${COMPREPLY[@]}\"";
  const auto commands = words("cci --help", "\n  ([a-z][-a-z]+) +[A-Z]");
  EXPECT_EQ(commands, words(completion + "''); COMP_CWORD=1" + offer, "(?:^|\n)([a-z][-a-z]+)"));
  EXPECT_EQ(commands.size(), 11u);
  for (const std::string& command : commands) {
    EXPECT_EQ(words(completion + command + " --); COMP_CWORD=2" + offer, "(--[a-z][-a-z0-9]+)"),
              words("cci " + command + " --help", "(--[a-z][-a-z0-9]+)"))
        << command;
  }
}

}  // namespace
}  // namespace cci_test
