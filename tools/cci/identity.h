// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

#include "chain.h"
#include "commands.h"
#include "input_output.h"
#include "token.h"

namespace cci {

/// The client's keys and chain on the token.
struct Identity {
  std::optional<std::string> key;  // the installed public key, PEM
  Certificates chain;              // the installed one
  bool key_matches = false;        // the private key matches the first certificate
  std::optional<std::string> pending_key;

  bool is_installed() const { return key || !chain.empty(); }
};

Identity identity_on(const Token& token);

/// Why a new identity is needed now, or will be within so many days; nothing when it is not.
std::optional<std::string> need_of(const Identity& identity, long days);

/// What the options demand of a chain. Reads the roots, of a file or else of a trust store group.
Demands demands_of(const Token& token, const Options& options);

/// Installs the chain with the pending key pair, which must be the first certificate's. Checks the chain
/// first, because a chain that the token refuses costs the key pair. Returns what is installed afterwards.
Identity install_chain(const Token& token, const ChainText& chain, const Demands& demands, Notes& notes);

}  // namespace cci
