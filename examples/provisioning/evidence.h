// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace provisioning {

std::vector<std::uint8_t> bytes(const std::string& text);

/// Runs a shell command and returns its stdout and stderr without the last line break.
/// Throws std::runtime_error with that text unless it exits with 0.
std::string run(const std::string& command);

/// Writes or reads a file of the working folder; throws std::runtime_error.
void write_file(const std::string& name, const std::string& content);
std::string read_file(const std::string& name);

/// How often `sought` occurs in `text`.
std::size_t occurrences(const std::string& sought, const std::string& text);

/// Throws std::runtime_error, which ends the demonstration, unless `holds`.
void require(bool holds, const std::string& claim);

/// Throws unless openssl verifies `signature` (r||s) of `message` with the public key in the file.
void require_signature(const std::string& public_key_file, const std::string& message,
                       const std::vector<std::uint8_t>& signature);

/// Serial number of the first certificate in the PEM file, in hexadecimal.
std::string serial_of(const std::string& pem_file);

/// Prints a numbered line for each step that passed, in colour on a terminal.
class Report {
 public:
  /// `explained`: a second line explains the step.
  explicit Report(bool explained) : m_explained(explained) {}

  void step(const std::string& name, const std::string& shown, const std::string& explanation);
  int steps() const { return m_steps; }

 private:
  bool m_explained;
  int m_steps = 0;
};

}  // namespace provisioning
