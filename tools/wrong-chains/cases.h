// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "backend.h"

namespace wrong_chains {

/// What an installation of an answer has to come to.
struct Verdict {
  bool installed;            ///< else it is refused, and what was installed stays
  std::size_t certificates;  ///< in the chain that is installed
  std::size_t records;       ///< of an error, about what could not be decoded
};

constexpr Verdict installed(std::size_t certificates, std::size_t records = 0) {
  return {true, certificates, records};
}
constexpr Verdict refused(std::size_t records = 0) { return {false, 0, records}; }

/// What a caller does well to check before an installation.
namespace check {
constexpr char kNotEmpty[] = "a certificate can be read";
constexpr char kAllRead[] = "all certificates can be read";
constexpr char kFirst[] = "the first certificate has the requested key";
constexpr char kVerifies[] = "it verifies";
constexpr char kSubject[] = "the subject is the requested one";
constexpr char kKeyForm[] = "the key has the form that was requested";
constexpr char kEndDate[] = "it ends in the year 3100 or before";
constexpr char kSerial[] = "the serial number is positive, of 20 bytes at most";
constexpr char kLength[] = "it has a sensible length";
constexpr char kNoKey[] = "there is no private key in it";
}  // namespace check

/// One way of answering a request.
struct Case {
  const char* name;
  const char* description;  ///< of the answer
  std::string (*answer)(const Backend& backend);
  Verdict verdict;
  const char* check = "";
};

/// All of them, the right one first.
const std::vector<Case>& all_cases();

const std::vector<Case>& chain_cases();   ///< other certificates, or another order
const std::vector<Case>& leaf_cases();    ///< something is wrong with the leaf
const std::vector<Case>& text_cases();    ///< PEM that is written differently, or damaged
const std::vector<Case>& format_cases();  ///< no PEM, or no certificates

}  // namespace wrong_chains
