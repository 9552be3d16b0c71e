// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "evidence.h"

#include <botan/bigint.h>
#include <botan/der_enc.h>
#include <unistd.h>

#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "commands.h"

namespace provisioning {
namespace {

int g_steps = 0;
bool g_explained = false;

// As no-color.org has it.
bool is_coloured() {
  static const bool coloured = ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
  return coloured;
}

std::string in_colour(const char* code, const std::string& text) {
  return is_coloured() ? std::string("\x1b[") + code + "m" + text + "\x1b[0m" : text;
}

// openssl takes the signature as TLS carries it: a DER sequence of r and s (RFC 3279, 2.2.3).
std::vector<std::uint8_t> der_signature(const std::vector<std::uint8_t>& raw) {
  const std::size_t half = raw.size() / 2;
  std::vector<std::uint8_t> der;
  Botan::DER_Encoder(der)
      .start_cons(Botan::SEQUENCE)
      .encode(Botan::BigInt(raw.data(), half))
      .encode(Botan::BigInt(raw.data() + half, half))
      .end_cons();
  return der;
}

std::string after_equals(const std::string& text) { return text.substr(text.find('=') + 1); }

}  // namespace

void require(bool held, const std::string& claim) {
  if (!held) {
    throw std::runtime_error("does not hold: " + claim);
  }
}

void require_signature(const std::string& public_key_file, const std::string& message,
                       const std::vector<std::uint8_t>& signature) {
  require(signature.size() == 64, "a signature on secp256r1 has 64 bytes");
  write_file("message", message);
  write_file("signature", der_signature(signature));
  run("openssl dgst -sha256 -verify " + public_key_file + " -signature signature message");
}

std::size_t certificate_count(const std::string& pem) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = pem.find("-----BEGIN CERTIFICATE-----", at)) != std::string::npos; ++at) {
    ++count;
  }
  return count;
}

std::string serial_of(const std::string& pem_file) {
  return after_equals(run("openssl x509 -noout -serial -in " + pem_file));
}

std::string identity_of(const std::string& pem_file) {
  const std::string fingerprint =
      after_equals(run("openssl x509 -noout -fingerprint -sha256 -in " + pem_file));
  return "serial " + serial_of(pem_file).substr(0, 12) + "..., SHA-256 " + fingerprint.substr(0, 23) + "...";
}

void explain_steps(bool explained) { g_explained = explained; }

void report(const std::string& step, const std::string& shown, const std::string& explanation) {
  std::ostringstream number, name;
  number << "[" << std::setw(2) << ++g_steps << "] ";
  name << std::left << std::setw(24) << step;
  std::cout << in_colour("2", number.str()) << in_colour("1;32", name.str()) << shown << "\n";
  if (g_explained) {
    std::cout << in_colour("2", "     " + explanation) << "\n";
  }
  std::cout.flush();
}

int steps_reported() { return g_steps; }

}  // namespace provisioning
