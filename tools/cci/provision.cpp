// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pem.h>

#include "backend_command.h"
#include "commands.h"
#include "json.h"

namespace cci {
namespace {

std::string ask_backend(const Options& options, const Bytes& request, Notes& notes) {
  const std::string text =
      options.pem ? Botan::PEM_Code::encode(request, "CERTIFICATE REQUEST") : text_of(request);
  const std::string limit = std::to_string(options.timeout.count());
  notes.say("asking the backend");
  return answer_of_command({options.issue, text, options.timeout}, [&](std::chrono::seconds passed) {
    notes.tick("asking the backend: " + std::to_string(passed.count()) + " of " + limit + " s");
  });
}

/// A token has one pending key pair, which a generation or an installation by another program removes.
void require_pending(const Token& token, const std::optional<std::string>& key) {
  if (key && token.public_key("LYR_CSR") == key) return;
  throw Failure(Exit::kRefused,
                "another program generated or installed a key pair meanwhile; the installed identity is "
                "complete; try again when that program has ended");
}

Bytes request_for(const Token& token, const std::optional<std::string>& key, const std::string& common_name) {
  try {
    return token.request(common_name);
  } catch (const Failure&) {
    require_pending(token, key);
    throw;
  }
}

}  // namespace

Answer provision(const Options& options, Notes& notes) {
  const Token token;
  const bool replaces = token.public_key("LYR").has_value();
  token.generate_key();
  const auto key = token.public_key("LYR_CSR");
  notes.say("generated a key pair");
  const Bytes request = request_for(token, key, options.common_name);
  try {
    const std::string text = ask_backend(options, request, notes);
    require_pending(token, key);
    const std::string hint = options.pem ? "" : "; does the backend expect PEM? Add --pem";
    const ChainText chain{"the backend's answer", text, Exit::kBackendFailed, Exit::kBackendFailed, hint};
    return {"", json_of_identity(install_chain(token, chain, notes))};
  } catch (const Failure& failure) {
    if (failure.exit() != Exit::kBackendFailed) throw;
    const std::string state = replaces ? "the installed identity is unchanged" : "nothing is installed yet";
    throw Failure(failure.exit(), std::string("backend failed: ") + failure.what() + "; " + state +
                                      ", a new key pair is pending");
  }
}

}  // namespace cci
