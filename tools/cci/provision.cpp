// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pem.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>

#include "backend_command.h"
#include "commands.h"
#include "json.h"

namespace cci {
namespace {

constexpr char kPending[] = "a new key pair is pending; go on with: cci provision";

std::string ask_backend(const Options& options, const Bytes& request, const std::string& state,
                        Notes& notes) {
  const std::string text =
      options.pem ? Botan::PEM_Code::encode(request, "CERTIFICATE REQUEST") : text_of(request);
  const std::string limit = std::to_string(options.timeout.count());
  notes.say("asking the backend");
  return answer_of_command(
      {options.issue, text, options.timeout, "cci: interrupted; " + state + "\n"},
      [&](std::chrono::seconds passed) {
        if (passed.count() % 10 != 0 || passed.count() == 0) return;
        notes.progress("asking the backend: " + std::to_string(passed.count()) + " of " + limit + " s");
      });
}

/// A token has one pending key pair, which a generation or an installation by another program removes.
void require_pending(const Token& token, const std::optional<std::string>& key) {
  if (key && token.public_key("LYR_CSR") == key) return;
  throw Failure(
      Exit::kRefused,
      "another program generated or installed a key pair meanwhile; try again when that program has "
      "ended");
}

Bytes request_for(const Token& token, const std::optional<std::string>& key, const std::string& common_name) {
  try {
    return token.request(common_name);
  } catch (const Failure&) {
    require_pending(token, key);
    throw;
  }
}

std::string state_of(const Token& token) {
  return token.public_key("LYR") ? "the installed identity is unchanged; " : "nothing is installed yet; ";
}

/// What is on the token after a failure; nothing when it cannot be read.
std::string state_after_failure(const Token& token) try {
  return state_of(token) +
         (token.public_key("LYR_CSR") ? kPending : "no key pair is pending; begin again with: cci provision");
} catch (const Failure&) {
  return "";
}

Identity replace_identity(const Token& token, const Options& options, Notes& notes) {
  const Demands demands = demands_of(token, options);  // what is wrong with them is said before a key is made
  token.generate_key();
  const auto key = token.public_key("LYR_CSR");
  notes.say("generated a key pair");
  const Bytes request = request_for(token, key, options.common_name);
  const std::string text = ask_backend(options, request, state_of(token) + kPending, notes);
  require_pending(token, key);
  const std::string hint = options.pem ? "" : ". Does the backend expect PEM? Add --pem";
  return install_chain(token, {"the answer", text, Exit::kBackendFailed, Exit::kBackendFailed, hint}, demands,
                       notes);
}

/// Its output goes to stderr, where that of a command for people goes.
void run_after(const std::string& command, Notes& notes) {
  std::signal(SIGPIPE, SIG_DFL);
  const int status = std::system(("exec </dev/null >&2\n" + command).c_str());
  std::signal(SIGPIPE, SIG_IGN);
  if (status != 0) {
    notes.warn("the new identity is active, but the command of --after failed" +
               (WIFEXITED(status) ? ": exit code " + std::to_string(WEXITSTATUS(status)) : ""));
  }
}

}  // namespace

Answer provision(const Options& options, Notes& notes) {
  if (options.days) {
    const Identity identity = identity_on(Token("read what is installed"));
    const auto need = need_of(identity, *options.days);
    if (!need) {
      notes.say("nothing to do: " + validity_of(validity_of(identity.chain).facts));
      return {"", json_of_identity(identity)};
    }
    notes.say("a new identity is needed: " + *need);
  }
  const Token token;
  try {
    const Identity identity = replace_identity(token, options, notes);
    if (!options.after.empty()) run_after(options.after, notes);
    return {"", json_of_identity(identity)};
  } catch (const Failure& failure) {
    if (failure.exit() == Exit::kPin || failure.exit() == Exit::kNoToken) throw;  // another login would fail
    const std::string backend = failure.exit() == Exit::kBackendFailed ? "backend failed: " : "";
    throw Failure(failure.exit(), backend + failure.what(), state_after_failure(token));
  }
}

}  // namespace cci
