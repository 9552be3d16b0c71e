// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <variant>

#include "commands.h"
#include "identity.h"

namespace cci {

bool is_utf8(const std::string& text);

using Field = std::pair<const char*, std::variant<bool, std::string>>;

/// The output of commands with --json: one object each, with a line end.
std::string json_of(std::initializer_list<Field> fields);
std::string json_of_key(const std::string& key_pem);
std::string json_of_certificates(const Certificates& certificates);
std::string json_of_signature(const std::string& key, SignatureForm form, const std::string& text);
/// With `need`, it also says whether a new identity is needed (not when the text is empty), and why.
std::string json_of_identity(const Identity& identity, const std::optional<std::string>& need = std::nullopt);
std::string json_of_failure(const Failure& failure);

}  // namespace cci
