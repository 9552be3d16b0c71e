// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// An operation of the library, on a token that `install_identity` has prepared.
struct Operation {
  std::string name;
  std::function<void()> prepare;  // makes what the operation needs; may be empty
  std::function<void()> call;     // throws std::runtime_error when the operation fails
};

/// The eight operations of the library. A key pair has to be pending for the second.
std::vector<Operation> operations();

/// Stores roots and a VIN on the token in use, and installs an identity.
void install_identity();

/// A signature of the installed key. Throws std::runtime_error when it fails.
void sign();

}  // namespace bench
