// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace ozk {
namespace tee {

/// The client that the token knows this library's callers as: the owner of what they store.
constexpr auto kClientId = "CCI_CLIENT";

}  // namespace tee
}  // namespace ozk
