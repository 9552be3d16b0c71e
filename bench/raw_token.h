// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_types.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace bench {

double median(std::vector<double> values);

/// The median time of one call of `work` in microseconds, over `rounds` calls.
double median_microseconds(int rounds, const std::function<void()>& work);

/// A token with one EC key to sign with, and other objects.
class RawToken {
 public:
  /// Makes the token in the first slot of the module that has none yet.
  RawToken(std::string module, std::size_t other_objects);

  /// Load, initialise, login, search, one raw ECDSA signature, unload: the calls of one operation of the
  /// library.
  void sign_once() const;

  /// Median times of single steps, in microseconds: load, initialise, finalise and unload; login and logout;
  /// a search for one object, by class and label.
  using Steps = std::array<double, 3>;
  Steps time_steps(int rounds) const;

 private:
  std::string m_module;
};

}  // namespace bench
