// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "base/error.h"
#include "check-module/check_module.h"
#include "checks.h"
#include "commands.h"
#include "shared/brief_formatter.h"
#include "shared/error_line.h"

namespace tee_token_admin {
namespace {

/// The command line and its values. Parsing runs the command.
class CommandLine {
 public:
  CommandLine();

  /// Runs the command of the arguments and returns the exit code.
  int run(int argc, char** argv) {
    try {
      m_app.parse(argc, argv);
      return m_code;
    } catch (const CLI::ParseError& error) {  // or a request for help
      return m_app.exit(error) == 0 ? 0 : kWrongUsage;
    }
  }

 private:
  CLI::App& add(const char* name, const char* description, const std::function<void()>& command) {
    CLI::App* const added = m_app.add_subcommand(name, description);
    added->callback(command);
    return *added;
  }
  void add_global_options();
  void add_imports();
  void add_objects();
  void add_pins();
  void add_checks();
  void add_module_check();

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

CommandLine::CommandLine() {
  add_global_options();
  CLI::App& make = add("init", "Make the token", [this] { init(m_target, m_token_label, m_force); });
  make.add_option("--label", m_token_label, "Label of the token")->capture_default_str();
  make.add_flag("--force", m_force, "Destroy everything on a token that exists");
  add_imports();
  add_objects();
  add_pins();
  add_checks();
  add_module_check();
  m_app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
}

void CommandLine::add_global_options() {
  m_app.name("tee-token");
  m_app.require_subcommand(1);
  m_app.fallthrough();
  m_app.formatter(std::make_shared<shown_text::BriefFormatter>());  // of the subcommands, too
  m_app.footer(help_on_exit_codes());
  m_app.add_option("--module", m_target.module, "PKCS#11 module instead of the platform's")
      ->type_name("FILE");
  const auto add_pin = [this](const std::string& option, std::string& pin, const std::string& whose) {
    m_app.add_option(option, pin, whose + "'s PIN in hexadecimal; -: a line of stdin")
        ->type_name("DIGITS")
        ->transform(
            [option](const std::string& given) { return given == "-" ? read_pin(option, false) : given; });
  };
  add_pin("--pin-hex", m_target.pin_hex, "User");
  add_pin("--so-pin-hex", m_target.so_pin_hex, "Security officer");
}

void CommandLine::add_imports() {
  CLI::App& key =
      add("import-key", "Store an EC private key", [this] { import_key(m_target, m_label, m_file); });
  CLI::App& certificate = add("import-cert", "Store an X.509 certificate",
                              [this] { import_certificate(m_target, m_label, m_file); });
  CLI::App& data = add("import-data", "Store a data object, for example a VIN",
                       [this] { import_data(m_target, m_label, m_value); });
  for (CLI::App* const command : {&key, &certificate, &data}) {
    command->add_option("LABEL", m_label, "Label in text form, as in 1_10")->required();
  }
  key.add_option("FILE", m_file, "PEM or DER")->required();
  certificate.add_option("FILE", m_file, "PEM or DER")->required();
  data.add_option("VALUE", m_value, "Stored as it is")->required();
  CLI::App& trust = add("add-trust-group", "Store a trust group and its roots, unchecked",
                        [this] { add_trust_group(m_target, m_group, m_roots); });
  trust.add_option("GROUP", m_group.identifier, "Identifier of the group")->required();
  trust.add_option("ROOTS", m_roots, "File of certificates; without it an empty group");
  trust.add_option("--client", m_group.client, "Client that may open the group")->capture_default_str();
}

void CommandLine::add_objects() {
  add("list", "Show all objects", [this] {
    list(m_target, m_json);
  }).add_flag("--json", m_json, "As a JSON array");
  CLI::App& show = add("export", "Write an object: data as it is, all else as PEM",
                       [this] { export_object(m_target, m_object); });
  CLI::App& remove = add("destroy", "Remove one object; a trust group with its roots",
                         [this] { destroy(m_target, m_object, m_force); });
  for (CLI::App* const command : {&show, &remove}) {
    command->add_option("HANDLE", m_object, "Number that list shows")
        ->required()
        ->check(CLI::Range(Botan::PKCS11::ObjectHandle{1}, ~Botan::PKCS11::ObjectHandle{0} - 1));
  }
  remove.add_flag("--force", m_force, "Also a private key, or a part of an installed identity");
}

void CommandLine::add_pins() {
  CLI::App* const commands[] = {
      &add("change-pin", "Change the user's PIN", [this] { change_pin(m_target, m_new_pin); }),
      &add("change-so-pin", "Change the security officer's PIN",
           [this] { change_so_pin(m_target, m_new_pin); }),
      &add("reset-pin", "Set a new PIN for the user, locked or not",
           [this] { reset_pin(m_target, m_new_pin); }),
  };
  for (CLI::App* const command : commands) {
    command->add_option("--new-pin-hex", m_new_pin, "In hexadecimal; -, or without it: a line of stdin")
        ->type_name("DIGITS");
  }
}

void CommandLine::add_checks() {
  CLI::App& token = add("check", "Look for what is wrong with the token",
                        [this] { m_code = check(m_target, m_chain.days, m_json); });
  CLI::App& chain = add("check-chain", "Look for what is wrong with a backend's answer", [this] {
    if (m_chain.label.empty() && m_chain.request.empty()) {
      throw CLI::RequiredError("--key or --csr");
    }
    m_code = check_chain(m_target, m_chain, m_json);
  });
  chain.add_option("CHAIN", m_chain.chain, "The file that is to be installed")->required();
  CLI::Option* const key = chain.add_option("--key", m_chain.label, "Label of the public key");
  key->type_name("LABEL");
  chain.add_option("--csr", m_chain.request, "Or the request, PEM or DER")->excludes(key)->type_name("FILE");
  chain.add_option("--roots", m_chain.roots, "Roots that the chain must verify with")->type_name("FILE");
  for (CLI::App* const command : {&token, &chain}) {
    command->add_option("--days", m_chain.days, "Report also what expires within so many days")
        ->check(CLI::Range(0, 36500).description(""))
        ->type_name("DAYS");
    command->add_flag("--json", m_json, "As a JSON object");
  }
  token.footer(help_on_faults(Fault::kFiles, Fault::kLeftover));
  chain.footer(help_on_faults(Fault::kOtherKey, Fault::kTrust));
}

void CommandLine::add_module_check() {
  CLI::App& command = add("check-module", "Try whether a module does what the library needs",
                          [this] { m_code = check_module(m_target, m_module, m_json); });
  command.add_option("MODULE", m_module.module, "File of the module, with an initialised token")->required();
  command.add_option("--only", m_module.clauses, "Clause to try, with what it needs; repeatable")
      ->check(CLI::IsMember(names_of_clauses()).description(""))
      ->type_name("CLAUSE")
      ->allow_extra_args(false);
  command.add_option("--limit", m_module.limit, "Time that a clause may take")
      ->check(CLI::Range(1u, 3600u).description(""))
      ->type_name("SECONDS")
      ->capture_default_str();
  command.add_flag("--json", m_json, "As a JSON object");
  command.footer(help_on_verdicts());
}

int fail(const std::string& line, int code) {
  std::cerr << line << std::endl;
  return code;
}

}  // namespace
}  // namespace tee_token_admin

int main(int argc, char** argv) {
  using namespace tee_token_admin;
  try {
    const int code = CommandLine().run(argc, argv);
    return std::cout.flush() ? code : fail("tee-token: cannot write to stdout", kFailed);
  } catch (const Botan::PKCS11::PKCS11_ReturnError& error) {
    const auto code = static_cast<CK_RV>(error.get_return_value());
    return fail(error_line(code), exit_code_of(code));
  } catch (const tee_token::Error& error) {
    return fail(std::string("tee-token: ") + error.what(), exit_code_of(error.code()));
  } catch (const std::exception& error) {
    return fail(std::string("tee-token: ") + error.what(), kFailed);
  }
}
