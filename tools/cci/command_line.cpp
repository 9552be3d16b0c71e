// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "json.h"
#include "shared/brief_formatter.h"

namespace cci {
namespace {

const char kExitCodes[] =
    "Exit code: 0 done, 1 cannot write, 2 usage, 3 wrong or locked PIN, 4 no token,\n"
    "5 token failed, 6 not found, 7 refused, 8 backend failed, 9 input unreadable,\n"
    "10 needs provisioning (status --days)";

const char kKeys[] =
    "Keys:\n"
    "  LYR_CSR               The new key pair, pending until its chain is installed\n"
    "  LYR                   The installed key pair and chain\n"
    "  BASE                  The device's own key and certificates, from its maker\n"
    "  ZEMP                  Further certificates of the device, without a key\n\n";

std::string wrong_with_name(const std::string& name) {
  if (!is_utf8(name)) return "must be UTF-8";
  const auto count = std::count_if(name.begin(), name.end(), [](char byte) { return (byte & 0xC0) != 0x80; });
  return count >= 1 && count <= 64 ? "" : "must have 1 to 64 characters";  // RFC 5280, ub-common-name
}

/// The subcommands and where their options go.
class Parser {
 public:
  Parser() {
    m_app.require_subcommand(1);
    m_app.fallthrough();
    m_app.formatter(std::make_shared<shown_text::BriefFormatter>());  // of the subcommands, too
    m_app.footer(std::string(kKeys) + kExitCodes);
    m_app.get_help_ptr()->group("");  // a line less, so that it fits on a screen
    m_app.set_version_flag("--version", "cci " CCI_VERSION, "Print the version and exit");
    m_app.add_flag("--json", m_options.json, "Write one JSON object to stdout");
    CLI::Option* const quiet =
        m_app.add_flag("-q,--quiet", m_options.quiet, "Only errors and warnings on stderr");
    m_app.add_flag("-v,--verbose", m_options.verbose, "The library's records on stderr too")->excludes(quiet);
    add_provisioning();
    add_installation();
    add_reading();
    add_signing();
  }

  CommandLine parse(int argc, char** argv) {
    try {
      m_app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
      return {nullptr, m_options, m_app.help()};
    } catch (const CLI::CallForVersion&) {
      return {nullptr, m_options, m_app.version() + "\n"};
    } catch (const CLI::ParseError& error) {
      throw Failure(Exit::kUsage, shown_text::usage_error(m_app, error));
    }
    if (m_options.output == "-" || m_options.output == "/dev/stdout") m_options.output.reset();
    m_options.timeout = std::chrono::seconds(m_seconds);
    return {m_command, m_options, ""};
  }

 private:
  CLI::App* add(const char* name, const char* description, Command command) {
    CLI::App* const app = m_app.add_subcommand(name, description);
    app->set_help_flag("-h,--help", "Print this and exit");
    app->footer("Options of every command: --json, --quiet, --verbose");
    app->callback([this, command] { m_command = command; });
    return app;
  }

  void add_output(CLI::App* command) {
    command->add_option("-o,--output", m_options.output, "File to write, whole or not at all; -: stdout")
        ->type_name("FILE");
  }

  void add_name(CLI::App* command) {
    command->add_option("--common-name", m_options.common_name, "CN of the request's subject")
        ->required()
        ->check(wrong_with_name)
        ->type_name("NAME");
    command->add_flag("--pem", m_options.pem, "The request in PEM instead of DER");
  }

  void add_days(CLI::App* command, const char* name, const char* description) {
    command->add_option(name, m_options.days, description)
        ->check(CLI::Range(0, 36500).description(""))
        ->type_name("DAYS");
  }

  void add_demands(CLI::App* command) {
    command->add_option("--roots", m_options.roots, "Trust store group or file: the chain must end there")
        ->type_name("ROOTS");
    command->add_flag("--force", m_options.force, "Install it although it is expired or unfit");
  }

  void add_key(CLI::App* command, const char* name, const std::set<std::string>& keys) {
    command->add_option(name, m_options.key, "One of " + CLI::detail::join(keys, ", ") + "; without it LYR")
        ->check(CLI::IsMember(keys).description(""))
        ->type_name("KEY");
  }

  void add_provisioning() {
    CLI::App* const all = add("provision", "Get a new identity from a backend: all steps", cci::provision);
    add_name(all);
    all->add_option("--issue", m_options.issue,
                    "Shell command of the backend: request on stdin,\nchain in PEM or DER on stdout")
        ->required()
        ->type_name("COMMAND");
    all->add_option("--timeout", m_seconds, "Time for the command; without it 60")
        ->check(CLI::Range(1, 86400).description(""))
        ->type_name("SECONDS");
    add_days(all, "--if-expiring", "Only when the chain ends within so many days");
    all->add_option("--after", m_options.after, "Shell command to run once the identity is active")
        ->type_name("COMMAND");
    add_demands(all);
    add("generate-key", "Make a key pair, pending until it is installed", cci::generate_key);
    CLI::App* const request = add("csr", "Write the request for the pending key pair", cci::csr);
    add_name(request);
    add_output(request);
  }

  void add_installation() {
    CLI::App* const all = add("install", "Install the pending key pair with its chain", cci::install);
    all->add_option("CHAIN", m_options.file, "File in PEM or DER, client's first; -: stdin")->required();
    add_demands(all);
    add("delete", "Delete the installed key pair and chain", cci::delete_identity);
  }

  void add_reading() {
    add_days(add("status", "Show what is installed and what is pending", cci::status), "--days",
             "Exit code 10 when it ends within so many days");
    CLI::App* const certificates = add("cert", "Write certificates in PEM", cci::cert);
    add_key(certificates, "KEY", {"LYR", "ZEMP", "BASE"});
    CLI::App* const key = add("public-key", "Write a public key in PEM", cci::public_key);
    add_key(key, "KEY", {"LYR", "LYR_CSR"});
    CLI::App* const group = add("roots", "Write the roots of a trust store group in PEM", cci::roots);
    group->add_option("GROUP", m_options.group, "Identifier of the group")->required();
    CLI::App* const number = add("vin", "Write the vehicle identification number", cci::vin);
    for (CLI::App* const command : {certificates, key, group, number}) add_output(command);
  }

  void add_signing() {
    CLI::App* const command = add("sign", "Sign a file: ECDSA with SHA-256, r||s (64 bytes)", cci::sign);
    command->add_option("FILE", m_options.file, "What to sign; without it, or -: stdin");
    add_key(command, "--key", {"LYR", "BASE"});
    const struct {
      const char* name;
      const char* description;
      SignatureForm form;
    } forms[] = {{"--der", "DER instead of r||s", SignatureForm::kDer},
                 {"--hex", "r||s in hexadecimal digits", SignatureForm::kHex},
                 {"--base64", "r||s in base64", SignatureForm::kBase64}};
    std::vector<CLI::Option*> flags;
    for (const auto& each : forms) {
      CLI::Option* const flag = command->add_flag_callback(
          each.name, [this, form = each.form] { m_options.form = form; }, each.description);
      for (CLI::Option* const other : flags) flag->excludes(other);
      flags.push_back(flag);
    }
    add_output(command);
  }

  CLI::App m_app{"A client certificate whose key stays in the token. See also COMMAND --help.", "cci"};
  Options m_options;
  Command m_command = nullptr;
  int m_seconds = 60;
};

}  // namespace

CommandLine parse(int argc, char** argv) { return Parser().parse(argc, argv); }

}  // namespace cci
