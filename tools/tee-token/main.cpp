// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/error.h"
#include "check-module/check_module.h"
#include "checks.h"
#include "commands.h"
#include "shared/brief_formatter.h"
#include "shared/error_line.h"
#include "shared/shown_text.h"

namespace tee_token_admin {
namespace {

/// The values of the command line, and what the command returned.
struct Arguments {
  Target target;
  TrustGroup group{"", "CCI_CLIENT"};
  ChainCheck chain;
  ModuleToCheck module;
  std::optional<std::string> roots;
  NewPin new_pin;
  std::string label, file, value, token_label = "TEE token", keys, tcti;
  Botan::PKCS11::ObjectHandle object = 0;
  bool force = false, json = false;
  int exit_code = 0;
};

/// Adds a command, which runs while its arguments are parsed.
CLI::App* add(CLI::App& app, const char* name, const char* description,
              const std::function<void()>& command) {
  CLI::App* const added = app.add_subcommand(name, description);
  added->callback(command);
  return added;
}

void add_global_options(CLI::App& app, Arguments& given) {
  app.name("tee-token");
  app.require_subcommand(1);
  app.fallthrough();
  app.formatter(std::make_shared<shown_text::BriefFormatter>());  // of the subcommands, too
  app.footer(help_on_exit_codes());
  app.add_option("--module", given.target.module, "PKCS#11 module instead of the platform's")
      ->type_name("FILE");
  const auto add_pin = [&](const std::string& option, std::string& pin, const std::string& whose) {
    app.add_option(option, pin, whose + "'s PIN in hexadecimal; -: a line of stdin")
        ->type_name("DIGITS")
        ->transform(
            [option](const std::string& text) { return text == "-" ? read_pin(option, false) : text; });
  };
  add_pin("--pin-hex", given.target.pin_hex, "User");
  add_pin("--so-pin-hex", given.target.so_pin_hex, "Security officer");
}

void add_init(CLI::App& app, Arguments& given) {
  CLI::App* const make = add(app, "init", "Make the token", [&] {
    choose_keys(given.target, given.keys, given.tcti);
    init(given.target, given.token_label, given.force);
  });
  make->add_option("--label", given.token_label, "Label of the token")->capture_default_str();
  make->add_flag("--force", given.force, "Overwrite an existing token and everything on it");
  CLI::Option* const keys =
      make->add_option("--keys", given.keys, "software, or tpm: private keys live in a TPM 2.0");
  keys->check(CLI::IsMember({"software", "tpm"}).description(""))->type_name("WHERE");
  make->add_option("--tcti", given.tcti, "TPM, as tpm2-tss names it; without it device:/dev/tpmrm0")
      ->needs(keys)
      ->type_name("TCTI");
  add(app, "status", "Show label, PINs, tries left, number of objects", [&] {
    status(given.target, given.json);
  })->add_flag("--json", given.json, "As a JSON object");
}

void add_imports(CLI::App& app, Arguments& given) {
  CLI::App* const key = add(app, "import-key", "Store an EC private key",
                            [&] { import_key(given.target, given.label, given.file); });
  CLI::App* const certificate = add(app, "import-cert", "Store an X.509 certificate",
                                    [&] { import_certificate(given.target, given.label, given.file); });
  CLI::App* const data = add(app, "import-data", "Store a data object, for example a VIN",
                             [&] { import_data(given.target, given.label, given.value); });
  for (CLI::App* const command : {key, certificate, data}) {
    command->add_option("LABEL", given.label, "Label in text form, as in 1_10")->required();
  }
  key->add_option("FILE", given.file, "PEM or DER")->required();
  certificate->add_option("FILE", given.file, "PEM or DER")->required();
  data->add_option("VALUE", given.value, "Stored as it is")->required();
  CLI::App* const trust = add(app, "add-trust-group", "Store a trust group and its roots, unchecked",
                              [&] { add_trust_group(given.target, given.group, given.roots); });
  trust->add_option("GROUP", given.group.identifier, "Identifier of the group")->required();
  trust->add_option("ROOTS", given.roots, "File of certificates; without it an empty group");
  trust->add_option("--client", given.group.client, "Client that may open the group")->capture_default_str();
}

void add_objects(CLI::App& app, Arguments& given) {
  CLI::App* const all = add(app, "list", "Show all objects", [&] { list(given.target, given.json); });
  all->add_flag("--json", given.json, "As a JSON array");
  CLI::App* const show = add(app, "export", "Write an object: data as it is, all else as PEM",
                             [&] { export_object(given.target, given.object); });
  CLI::App* const remove = add(app, "destroy", "Remove one object; a trust group with its roots",
                               [&] { destroy(given.target, given.object, given.force); });
  for (CLI::App* const command : {show, remove}) {
    command->add_option("HANDLE", given.object, "Number that list shows")
        ->required()
        ->check(CLI::Range(Botan::PKCS11::ObjectHandle{1}, ~Botan::PKCS11::ObjectHandle{0} - 1));
  }
  remove->add_flag("--force", given.force, "Also a private key, or a part of an installed identity");
}

void add_pins(CLI::App& app, Arguments& given) {
  const auto add_change = [&](const char* name, const char* description, PinChange change) {
    add(app, name, description, [&given, change] { change_pin(given.target, change, given.new_pin); })
        ->add_option("--new-pin-hex", given.new_pin.hex, "In hexadecimal; -, or without it: a line of stdin")
        ->type_name("DIGITS");
  };
  add_change("change-pin", "Change the user's PIN", PinChange::kUser);
  add_change("change-so-pin", "Change the security officer's PIN", PinChange::kOfficer);
  add_change("reset-pin", "Set a new PIN for the user, locked or not", PinChange::kReset);
  for (const char* const name : {"change-pin", "reset-pin"}) {
    app.get_subcommand(name)->add_flag("--yes", given.new_pin.yes,
                                       "Also a user PIN that the library does not use");
  }
  app.get_subcommand("reset-pin")
      ->add_flag("--platform-pin", given.new_pin.platforms, "The PIN that the library logs in with")
      ->excludes(app.get_subcommand("reset-pin")->get_option("--new-pin-hex"));
}

void add_checks(CLI::App& app, Arguments& given) {
  CLI::App* const token = add(app, "check", "Check files, PINs, keys and certificates",
                              [&] { given.exit_code = check(given.target, given.chain.days, given.json); });
  CLI::App* const chain = add(app, "check-chain", "Check a backend's answer before it is installed", [&] {
    if (given.chain.label.empty() && given.chain.request.empty()) {
      throw CLI::RequiredError("--key or --csr");
    }
    given.exit_code = check_chain(given.target, given.chain, given.json);
  });
  chain->add_option("CHAIN", given.chain.chain, "The file that is to be installed")->required();
  CLI::Option* const key = chain->add_option("--key", given.chain.label, "Label of the public key");
  key->type_name("LABEL");
  chain->add_option("--csr", given.chain.request, "Or the request, PEM or DER")
      ->excludes(key)
      ->type_name("FILE");
  chain->add_option("--roots", given.chain.roots, "Roots that the chain must verify with")->type_name("FILE");
  for (CLI::App* const command : {token, chain}) {
    command->add_option("--days", given.chain.days, "Also report what expires within so many days")
        ->check(CLI::Range(0, 36500).description(""))
        ->type_name("DAYS");
    command->add_flag("--json", given.json, "As a JSON object");
  }
  token->footer(help_on_faults(Fault::kFiles, Fault::kLeftover));
  chain->footer(help_on_faults(Fault::kOtherKey, Fault::kTrust));
}

void add_module_check(CLI::App& app, Arguments& given) {
  CLI::App* const command =
      add(app, "check-module", "Check whether a module does what the library needs",
          [&] { given.exit_code = check_module(given.target, given.module, given.json); });
  command->add_option("MODULE", given.module.module, "File of the module, with an initialised token")
      ->required();
  command->add_option("--only", given.module.clauses, "Clause to try, with those it needs; repeatable")
      ->check(CLI::IsMember(names_of_clauses()).description(""))
      ->type_name("CLAUSE")
      ->allow_extra_args(false);
  command->add_option("--limit", given.module.limit, "Time that a clause may take")
      ->check(CLI::Range(1u, 3600u).description(""))
      ->type_name("SECONDS")
      ->capture_default_str();
  command->add_flag("--json", given.json, "As a JSON object");
  command->footer(help_on_verdicts());
}

/// A command line that cannot be read.
class WrongUsage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string json_of_failure(const std::string& text, int code) {
  const nlohmann::ordered_json object = {{"error", text}, {"exit_code", code}};
  return object.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

/// Runs the command of the arguments and returns the exit code.
int run(int argc, char** argv) {
  CLI::App app(
      "Makes, fills, shows and checks a software token, in the folder TEE_TOKEN_DIR\n"
      "(~/.local/share/tee-token).");
  Arguments given;
  for (const auto part :
       {add_global_options, add_init, add_imports, add_objects, add_pins, add_checks, add_module_check}) {
    part(app, given);
  }
  app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
  app.set_version_flag("--version", "tee-token " TEE_TOKEN_VERSION, "Print the version and exit");
  try {
    app.parse(argc, argv);
    return given.exit_code;
  } catch (const CLI::Success& request) {  // for help or the version
    return app.exit(request);
  } catch (const CLI::ParseError& error) {
    throw WrongUsage(shown_text::usage_error(app, error));
  }
}

}  // namespace
}  // namespace tee_token_admin

int main(int argc, char** argv) {
  using namespace tee_token_admin;
  const bool json = std::find(argv, argv + argc, std::string("--json")) != argv + argc;
  const auto fail = [json](const std::string& text, int code) {
    std::cerr << "tee-token: " << shown_text::shown(text) << std::endl;
    if (json) {
      std::cout << json_of_failure(text, code) << std::flush;
    }
    return code;
  };
  try {
    const int code = run(argc, argv);
    return std::cout.flush() ? code : fail("cannot write to stdout", kFailed);
  } catch (const WrongUsage& error) {
    return fail(error.what(), kWrongUsage);
  } catch (const Botan::PKCS11::PKCS11_ReturnError& error) {
    const auto code = static_cast<CK_RV>(error.get_return_value());
    return fail(text_of_error(code), exit_code_of(code));
  } catch (const tee_token::Error& error) {
    return fail(error.what(), exit_code_of(error.code()));
  } catch (const std::exception& error) {
    return fail(error.what(), kFailed);
  }
}
