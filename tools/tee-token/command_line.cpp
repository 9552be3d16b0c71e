// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "command_line.h"

#include <memory>

#include "finding.h"
#include "hidden_line.h"
#include "shared/brief_formatter.h"
#include "shared/error_line.h"

namespace tee_token_admin {
namespace {

std::string read_pin(const std::string& option) {
  std::string pin = hidden_line(option + ", in hexadecimal digits: ");
  if (pin.empty()) {
    throw UsageError("there is no PIN on stdin for " + option);
  }
  return pin;
}

void add_pin(CLI::App& app, const std::string& option, std::string& pin, const std::string& whose) {
  app.add_option(option, pin, whose + "'s PIN in hexadecimal; -: a line of stdin")
      ->type_name("DIGITS")
      ->transform([option](const std::string& given) { return given == "-" ? read_pin(option) : given; });
}

}  // namespace

CommandLine::CommandLine() {
  m_app.name("tee-token");
  m_app.require_subcommand(1);
  m_app.fallthrough();
  m_app.formatter(std::make_shared<shown_text::BriefFormatter>());  // of the subcommands, too
  m_app.footer(help_on_exit_codes());
  m_app.add_option("--module", m_target.module, "PKCS#11 module instead of the platform's")
      ->type_name("FILE");
  add_pin(m_app, "--pin-hex", m_target.pin_hex, "User");
  add_pin(m_app, "--so-pin-hex", m_target.so_pin_hex, "Security officer");
  add_making();
  add_imports();
  add_trust();
  add_objects();
  add_pins();
  add_checks();
  add_module_check();
  m_app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
}

int CommandLine::run(int argc, char** argv) {
  m_app.parse(argc, argv);
  return m_code;
}

void CommandLine::add_making() {
  CLI::App* const command = m_app.add_subcommand("init", "Make the token");
  command->add_option("--label", m_token_label, "Label of the token")->capture_default_str();
  command->add_flag("--force", m_force, "Destroy what is on a token that is there already");
  command->callback([this] { init(m_target, m_token_label, m_force); });
}

CLI::App* CommandLine::add_import(const char* name, const char* description) {
  CLI::App* const command = m_app.add_subcommand(name, description);
  command->add_option("LABEL", m_label, "Label in text form, as in 1_10")->required();
  return command;
}

void CommandLine::add_imports() {
  CLI::App* const key = add_import("import-key", "Store an EC private key");
  key->add_option("FILE", m_file, "PEM or DER")->required();
  key->callback([this] { import_key(m_target, m_label, m_file); });
  CLI::App* const certificate = add_import("import-cert", "Store an X.509 certificate");
  certificate->add_option("FILE", m_file, "PEM or DER")->required();
  certificate->callback([this] { import_certificate(m_target, m_label, m_file); });
  CLI::App* const data = add_import("import-data", "Store a data object, for example a VIN");
  data->add_option("VALUE", m_value, "Stored as it is")->required();
  data->callback([this] { import_data(m_target, m_label, m_value); });
}

void CommandLine::add_trust() {
  CLI::App* const trust =
      m_app.add_subcommand("add-trust-group", "Store a trust group and its roots, unchecked");
  trust->add_option("GROUP", m_group.identifier, "Identifier of the group")->required();
  trust->add_option("ROOTS", m_roots, "PEM file of certificates; without it an empty group");
  trust->add_option("--client", m_group.client, "Client that may open the group")->capture_default_str();
  trust->callback([this] { add_trust_group(m_target, m_group, m_roots); });
}

CLI::App* CommandLine::add_with_handle(const char* name, const char* description) {
  CLI::App* const command = m_app.add_subcommand(name, description);
  command->add_option("HANDLE", m_object, "Number that list shows")
      ->required()
      ->check(CLI::Range(Botan::PKCS11::ObjectHandle{1}, ~Botan::PKCS11::ObjectHandle{0} - 1));
  return command;
}

void CommandLine::add_objects() {
  CLI::App* const show = m_app.add_subcommand("list", "Show all objects");
  show->add_flag("--json", m_json, "As a JSON array");
  show->callback([this] { list(m_target, m_json); });
  add_with_handle("export", "Write an object: data as it is, all else as PEM")->callback([this] {
    export_object(m_target, m_object);
  });
  CLI::App* const remove = add_with_handle("destroy", "Remove one object; a trust group with its roots");
  remove->add_flag("--force", m_force, "Also a private key, or a part of an installed identity");
  remove->callback([this] { destroy(m_target, m_object, m_force); });
}

void CommandLine::add_pins() {
  const struct {
    const char* name;
    const char* description;
    void (*command)(const Target&, const std::string&);
  } pins[] = {
      {"change-pin", "Change the user's PIN", change_pin},
      {"change-so-pin", "Change the security officer's PIN", change_so_pin},
      {"reset-pin", "Set a new PIN for the user, who may be locked out", reset_pin},
  };
  for (const auto& pin : pins) {
    CLI::App* const command = m_app.add_subcommand(pin.name, pin.description);
    command->add_option("--new-pin-hex", m_new_pin, "In hexadecimal; -, or without it: a line of stdin")
        ->type_name("DIGITS");
    command->callback([this, set = pin.command] { set(m_target, m_new_pin); });
  }
}

void CommandLine::add_checks() {
  CLI::App* const token = m_app.add_subcommand("check", "Look for what is wrong with the token");
  token->callback([this] { m_code = check(m_target, m_chain.days, m_json); });
  CLI::App* const chain =
      m_app.add_subcommand("check-chain", "Look for what is wrong with a backend's answer");
  chain->add_option("CHAIN", m_chain.chain, "The file that is to be installed")->required();
  CLI::Option* const key = chain->add_option("--key", m_chain.label, "Label of the public key");
  key->type_name("LABEL");
  chain->add_option("--csr", m_chain.request, "Or the request, PEM or DER")->excludes(key)->type_name("FILE");
  chain->add_option("--roots", m_chain.roots, "Roots in PEM that the chain must verify with")
      ->type_name("FILE");
  chain->callback([this] {
    if (m_chain.label.empty() && m_chain.request.empty()) {
      throw CLI::RequiredError("--key or --csr");
    }
    m_code = check_chain(m_target, m_chain, m_json);
  });
  for (CLI::App* const command : {token, chain}) {
    command->add_option("--days", m_chain.days, "Tell also what expires within so many days")
        ->check(CLI::Range(0, 36500).description(""))
        ->type_name("DAYS");
    command->add_flag("--json", m_json, "As a JSON object");
  }
  token->footer(help_on_faults(Fault::kFiles, Fault::kLeftover));
  chain->footer(help_on_faults(Fault::kOtherKey, Fault::kTrust));
}

void CommandLine::add_module_check() {
  CLI::App* const command =
      m_app.add_subcommand("check-module", "Try whether a module gives what the library needs");
  command->add_option("MODULE", m_module.module, "File of the module, with an initialised token")->required();
  command->add_option("--only", m_module.clauses, "Clause to try, with what it needs; repeatable")
      ->check(CLI::IsMember(names_of_clauses()).description(""))
      ->type_name("CLAUSE")
      ->allow_extra_args(false);
  command->add_option("--limit", m_module.limit, "Time that a clause may take")
      ->check(CLI::Range(1u, 3600u).description(""))
      ->type_name("SECONDS")
      ->capture_default_str();
  command->add_flag("--json", m_json, "As a JSON object");
  command->footer(help_on_verdicts());
  command->callback([this] { m_code = check_module(m_target, m_module, m_json); });
}

}  // namespace tee_token_admin
