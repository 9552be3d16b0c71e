// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "commands.h"
#include "input.h"
#include "installation.h"
#include "json.h"

namespace cci {

Answer install(const Options& options, Notes& notes) {
  const std::string text = text_of(read_input(options.file));
  const ChainText chain{name_of_input(options.file), text, Exit::kInput, Exit::kRefused};
  return {"", json_of_status(install_chain(Token(), chain, notes))};
}

}  // namespace cci
