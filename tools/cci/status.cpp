// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "status.h"

#include <botan/exceptn.h>
#include <botan/pubkey.h>

#include <memory>

#include "chain.h"
#include "commands.h"
#include "json.h"
#include "shared/shown_text.h"

namespace cci {
namespace {

using shown_text::shown;

std::string line(const char* name, const std::string& value) {
  return "  " + (std::string(name) + "            ").substr(0, 12) + shown(value) + "\n";
}

std::string text_of_leaf(const Status& status) {
  const CertificateFacts leaf = facts_of(status.chain.front());
  return line("subject", leaf.subject) + line("issuer", leaf.issuer) + line("serial", leaf.serial) +
         line("valid from", leaf.not_before) + line("valid to", leaf.not_after + ", " + validity_of(leaf)) +
         line("SHA-256", leaf.sha256) +
         line("chain", shown_text::counted(status.chain.size(), "certificate"));
}

std::string text_of_installed(const Status& status) {
  if (status.is_empty()) return "installed: nothing\n";
  std::string text = "installed:\n";
  text += status.chain.empty() ? line("certificate", "none") : text_of_leaf(status);
  text += line("key", status.key ? fingerprint_of_key(*status.key) : "none");
  const char* const matches =
      status.key_matches ? "it signs what the certificate verifies" : "NO: it is not the certificate's";
  return text + line("key fits", matches);
}

std::string text_of_status(const Status& status) {
  return text_of_installed(status) + (status.pending_key
                                          ? "pending: a key pair waits for its certificate\n" +
                                                line("key", fingerprint_of_key(*status.pending_key))
                                          : "pending: nothing\n");
}

}  // namespace

bool signs_for(const Token& token, const Botan::X509_Certificate& certificate) {
  const Bytes message = bytes_of("cci looks whether key and certificate are a pair");
  const auto signature = token.sign("LYR", message);
  if (!signature) return false;
  try {
    const std::unique_ptr<Botan::Public_Key> key = certificate.load_subject_public_key();
    return Botan::PK_Verifier(*key, "EMSA1(SHA-256)", Botan::IEEE_1363).verify_message(message, *signature);
  } catch (const Botan::Exception&) {
    return false;  // a key of another kind
  }
}

Status status_of(const Token& token) {
  Status status;
  status.key = token.public_key("LYR");
  status.chain = certificates_of(token.certificates("LYR"));
  status.key_matches = !status.chain.empty() && signs_for(token, status.chain.front());
  status.pending_key = token.public_key("LYR_CSR");
  return status;
}

Answer status(const Options&, Notes&) {
  const Status found = status_of(Token());
  return {text_of_status(found), json_of_status(found)};
}

}  // namespace cci
