// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "answer.h"
#include "notes.h"
#include "options.h"

namespace cci {

/// Each carries out one subcommand or throws a Failure.
using Command = Answer (*)(const Options&, Notes&);

Answer generate_key(const Options& options, Notes& notes);
Answer csr(const Options& options, Notes& notes);
Answer install(const Options& options, Notes& notes);
Answer delete_identity(const Options& options, Notes& notes);
Answer cert(const Options& options, Notes& notes);
Answer public_key(const Options& options, Notes& notes);
Answer sign(const Options& options, Notes& notes);
Answer roots(const Options& options, Notes& notes);
Answer vin(const Options& options, Notes& notes);
Answer status(const Options& options, Notes& notes);
Answer provision(const Options& options, Notes& notes);

}  // namespace cci
