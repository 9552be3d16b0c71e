// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pem.h>

#include "backend_command.h"
#include "commands.h"
#include "failure.h"
#include "installation.h"
#include "json.h"

namespace cci {
namespace {

const char kUntouched[] = "; what was installed stays";

std::string ask_backend(const Options& options, const Bytes& request, Notes& notes) {
  const std::string text =
      options.pem ? Botan::PEM_Code::encode(request, "CERTIFICATE REQUEST") : text_of(request);
  const std::string limit = std::to_string(options.timeout.count());
  notes.say("asking the backend");
  return answer_of_command({options.issue, text, options.timeout}, [&](std::chrono::seconds passed) {
    notes.tick("asking the backend: " + std::to_string(passed.count()) + " of " + limit + " s");
  });
}

/// Only one key pair waits: a generation or an installation by another program takes this one's.
void require_waiting(const Token& token, const std::optional<std::string>& key) {
  if (key && token.public_key("LYR_CSR") == key) return;
  throw Failure(
      Exit::kRefused,
      "another program made or installed a key pair meanwhile; what is installed is whole; try again "
      "when it is done");
}

Bytes request_for(const Token& token, const std::optional<std::string>& key, const std::string& common_name) {
  try {
    return token.request(common_name);
  } catch (const Failure&) {
    require_waiting(token, key);
    throw;
  }
}

}  // namespace

Answer provision(const Options& options, Notes& notes) {
  const Token token;
  token.generate_key();
  const auto key = token.public_key("LYR_CSR");
  notes.say("generated a key pair");
  const Bytes request = request_for(token, key, options.common_name);
  try {
    const std::string text = ask_backend(options, request, notes);
    require_waiting(token, key);
    const ChainText chain{"the backend's answer", text, Exit::kBackendFailed, Exit::kBackendFailed};
    return {"", json_of_status(install_chain(token, chain, notes))};
  } catch (const Failure& failure) {
    if (failure.exit() != Exit::kBackendFailed) throw;
    throw Failure(failure.exit(), std::string("backend failed: ") + failure.what() + kUntouched);
  }
}

}  // namespace cci
