// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <string>
#include <vector>

namespace ozk::tee {

/// Handles of the library's objects in one state, installed or temporary: public keys, private keys, chains.
using ObjectSet = std::array<std::vector<unsigned long>, 3>;

/// What a token holds, seen from a session of the reader's own.
struct TokenContent {
  ObjectSet installed, temporary;
  std::vector<unsigned long> others;

  static TokenContent now();

  friend bool operator==(const TokenContent& a, const TokenContent& b) {
    return a.installed == b.installed && a.temporary == b.temporary && a.others == b.others;
  }
};

/// No object of it.
bool isEmpty(const ObjectSet& set);

/// `after` in words, beside `before`: "unchanged", "none", "new set", "old chain, new key pair".
std::string describe(const ObjectSet& before, const ObjectSet& after);

}  // namespace ozk::tee
