#include <CLI/CLI.hpp>
#include <iostream>

#include "commands.h"
#include "error_line.h"

namespace {

using namespace tee_token_admin;

constexpr int kFailed = 1, kWrongUsage = 2;

/// The command line, and what it asks for.
struct CommandLine {
  CLI::App app{"Makes, fills and shows the software token of TEE_TOKEN_DIR (or ~/.local/share/tee-token)."};
  Target target;
  TrustGroup group{"", "CCI_CLIENT"};
  std::optional<std::string> roots;
  std::string label, file, value, token_label = "TEE token";
  Botan::PKCS11::ObjectHandle object = 0;
  bool force = false, json = false;

  CommandLine() {
    app.name("tee-token");
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--module", target.module, "PKCS#11 module to use instead of the platform's token");
    app.add_option("--pin-hex", target.pin_hex, "User PIN, in hexadecimal digits");
    app.add_option("--so-pin-hex", target.so_pin_hex, "Security officer PIN, in hexadecimal digits");
    add_init();
    add_imports();
    add_trust();
    add_the_rest();
  }

 private:
  void add_init() {
    CLI::App* const command = app.add_subcommand("init", "Make the token");
    command->add_option("--label", token_label, "Label of the token");
    command->add_flag("--force", force, "Destroy what is on a token that is there already");
    command->callback([this] { init(target, token_label, force); });
  }

  CLI::App* add_import(const char* name, const char* description) {
    CLI::App* const command = app.add_subcommand(name, description);
    command->add_option("LABEL", label, "Label in text form, as in 1_10")->required();
    return command;
  }

  void add_imports() {
    CLI::App* const key = add_import("import-key", "Store an EC private key");
    key->add_option("FILE", file, "PEM or DER")->required();
    key->callback([this] { import_key(target, label, file); });
    CLI::App* const certificate = add_import("import-cert", "Store an X.509 certificate");
    certificate->add_option("FILE", file, "PEM or DER")->required();
    certificate->callback([this] { import_certificate(target, label, file); });
    CLI::App* const data = add_import("import-data", "Store a data object, for example a VIN");
    data->add_option("VALUE", value, "Stored as it is")->required();
    data->callback([this] { import_data(target, label, value); });
  }

  void add_trust() {
    CLI::App* const trust = app.add_subcommand(
        "add-trust-group",
        "Store a trust store group and its root certificates, which are stored as given, not checked");
    trust->add_option("GROUP", group.identifier, "Identifier of the group")->required();
    trust->add_option("ROOTS", roots, "PEM file, certificates alone; without it the group is empty");
    trust->add_option("--client", group.client, "Client that may open the group")->capture_default_str();
    trust->callback([this] { add_trust_group(target, group, roots); });
  }

  void add_the_rest() {
    CLI::App* const show = app.add_subcommand("list", "Show all objects");
    show->add_flag("--json", json, "As a JSON array");
    show->callback([this] { list(target, json); });
    CLI::App* const remove = app.add_subcommand("destroy", "Remove one object; a trust group with its roots");
    remove->add_option("HANDLE", object, "Number that list shows")
        ->required()
        ->check(CLI::Range(Botan::PKCS11::ObjectHandle{1}, ~Botan::PKCS11::ObjectHandle{0} - 1));
    remove->callback([this] { destroy(target, object); });
  }
};

int fail(const std::string& line) {
  std::cerr << line << std::endl;
  return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  const FailureLines lines;
  CommandLine command_line;
  try {
    command_line.app.parse(argc, argv);
    return std::cout.flush() ? 0 : fail("tee-token: cannot write to stdout");
  } catch (const CLI::ParseError& error) {
    return command_line.app.exit(error) == 0 ? 0 : kWrongUsage;
  } catch (const Botan::PKCS11::PKCS11_ReturnError& error) {
    return fail(error_line(static_cast<CK_RV>(error.get_return_value()), lines));
  } catch (const std::exception& error) {
    return fail(std::string("tee-token: ") + error.what());
  }
}
