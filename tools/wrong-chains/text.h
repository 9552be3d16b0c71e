// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <vector>

#include "openssl.h"

namespace wrong_chains {

/// Base64 in lines of `width` characters, which must be a multiple of 4.
std::string base64(const std::string& bytes, std::size_t width = 64);

/// One block of PEM.
std::string pem(const std::string& label, const std::string& bytes, std::size_t width = 64);

/// Certificates in PEM, back to back.
std::string pem(const std::vector<Certificate>& certificates, std::size_t width = 64);

/// `text` with `found` replaced everywhere, or only where it is first.
std::string replaced(std::string text, const std::string& found, const std::string& replacement);
std::string replaced_once(std::string text, const std::string& found, const std::string& replacement);

/// `part` over and over.
std::string repeated(std::size_t times, const std::string& part);

}  // namespace wrong_chains
