// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "check-module/check_module.h"
#include "commands.h"

namespace tee_token_admin {

/// The command line, and what it asks for.
class CommandLine {
 public:
  CommandLine();

  /// Does what the arguments ask for and returns the exit code. Throws CLI::ParseError when they are wrong.
  int run(int argc, char** argv);

  /// Prints what a ParseError says, or the help that was asked for; returns whether it was the latter.
  bool explain(const CLI::ParseError& error) { return m_app.exit(error) == 0; }

 private:
  void add_making();
  CLI::App* add_import(const char* name, const char* description);
  void add_imports();
  void add_trust();
  void add_objects();
  void add_pins();
  void add_checks();
  void add_module_check();
  CLI::App* add_with_handle(const char* name, const char* description);

  CLI::App m_app{
      "Makes, fills, shows and checks a software token, in the folder TEE_TOKEN_DIR\n"
      "(~/.local/share/tee-token)."};
  Target m_target;
  TrustGroup m_group{"", "CCI_CLIENT"};
  ChainCheck m_chain;
  ModuleToCheck m_module;
  std::optional<std::string> m_roots;
  std::string m_label, m_file, m_value, m_new_pin, m_token_label = "TEE token";
  Botan::PKCS11::ObjectHandle m_object = 0;
  bool m_force = false, m_json = false;
  int m_code = 0;
};

}  // namespace tee_token_admin
