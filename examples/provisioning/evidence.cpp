// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "evidence.h"

#include <botan/hex.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace provisioning {
namespace {

// NO_COLOR: see no-color.org.
std::string in_colour(const char* code, const std::string& text) {
  static const bool coloured = ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
  return coloured ? std::string("\x1b[") + code + "m" + text + "\x1b[0m" : text;
}

/// Lines of at most 80 characters, each with a margin.
std::string wrapped(const std::string& text) {
  const std::string margin = "     ";
  std::string lines, line = margin;
  std::istringstream words(text);
  for (std::string word; words >> word; line += (line == margin ? "" : " ") + word) {
    if (line.size() + 1 + word.size() > 80) {
      lines += line + "\n";
      line = margin;
    }
  }
  return lines + line;
}

std::string after_equals(const std::string& text) { return text.substr(text.find('=') + 1); }

}  // namespace

std::vector<std::uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::string run(const std::string& command) {
  std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "re");
  if (pipe == nullptr) {
    throw std::runtime_error("cannot run: " + command);
  }
  std::string output;
  char part[4096];
  for (std::size_t length = 0; (length = std::fread(part, 1, sizeof part, pipe)) > 0;) {
    output.append(part, length);
  }
  if (::pclose(pipe) != 0) {
    throw std::runtime_error("failed: " + command + "\n" + output);
  }
  if (!output.empty() && output.back() == '\n') {
    output.pop_back();
  }
  return output;
}

void write_file(const std::string& name, const std::string& content) {
  if (!(std::ofstream(name, std::ios::binary) << content).flush()) {
    throw std::runtime_error("cannot write " + name);
  }
}

std::string read_file(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + name);
  }
  return std::string(std::istreambuf_iterator<char>(file), {});
}

std::size_t occurrences(const std::string& sought, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(sought, at)) != std::string::npos; ++at) {
    ++count;
  }
  return count;
}

void require(bool holds, const std::string& claim) {
  if (!holds) {
    throw std::runtime_error("check failed: " + claim);
  }
}

void require_signature(const std::string& public_key_file, const std::string& message,
                       const std::vector<std::uint8_t>& signature) {
  require(signature.size() == 64, "a signature on secp256r1 has 64 bytes");
  // openssl wants a DER sequence of r and s (RFC 3279, 2.2.3).
  write_file("signature.cnf", "asn1=SEQUENCE:rs\n[rs]\nr=INTEGER:0x" +
                                  Botan::hex_encode(signature.data(), 32) + "\ns=INTEGER:0x" +
                                  Botan::hex_encode(signature.data() + 32, 32) + "\n");
  run("openssl asn1parse -genconf signature.cnf -noout -out signature");
  write_file("message", message);
  run("openssl dgst -sha256 -verify " + public_key_file + " -signature signature message");
}

std::string serial_of(const std::string& pem_file) {
  return after_equals(run("openssl x509 -noout -serial -in " + pem_file));
}

void Report::step(const std::string& name, const std::string& shown, const std::string& explanation) {
  std::ostringstream number, padded_name;
  number << "[" << std::setw(2) << ++m_steps << "] ";
  padded_name << std::left << std::setw(20) << name;
  std::cout << in_colour("2", number.str()) << in_colour("1;32", padded_name.str()) << shown << "\n";
  if (m_explained) {
    std::cout << in_colour("2", wrapped(explanation)) << "\n";
  }
  std::cout.flush();
}

}  // namespace provisioning
