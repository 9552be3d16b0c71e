// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace shown_text {

/// Help in 80 columns: an option's type and default, without the parser's other notes.
class BriefFormatter : public CLI::Formatter {
 public:
  BriefFormatter() {
    column_width(24);
    label("Positionals", "Arguments");
    label("SUBCOMMAND", "COMMAND");
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    const bool takes = option->get_type_size() != 0 && !option->get_positional();
    const std::string type = takes ? " " + option->get_type_name() : "", value = option->get_default_str();
    return type + (value.empty() ? "" : "=" + value) + (option->get_required() ? " (required)" : "");
  }
};

/// What is wrong with the command line, and which help to read.
inline std::string usage_error(const CLI::App& app, const CLI::ParseError& error) {
  const auto commands = app.get_subcommands();
  const auto unknown = app.remaining();
  const bool no_command = commands.empty() && !unknown.empty();
  return (no_command ? "there is no command " + unknown.front() : std::string(error.what())) + "; see " +
         app.get_name() + (commands.empty() ? "" : " " + commands.front()->get_name()) + " --help";
}

}  // namespace shown_text
