// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>

namespace bench {

/// A token with a private key and further objects, used through PKCS#11 alone.
class RawToken {
 public:
  /// Of SoftHSM2 or the software token, in `folder`, which exists.
  enum class Kind { kSoftHsm, kOurs };

  /// Initialises the token of `folder` and stores the objects. The library can log in to one of ours.
  RawToken(Kind kind, std::filesystem::path folder, std::size_t other_objects);

  /// Has the modules use this token from now on.
  void use() const;

  static constexpr std::array<const char*, 8> kSteps = {"C_Initialize",   "C_OpenSession", "C_Login",
                                                        "C_FindObjects",  "2 attributes",  "signature",
                                                        "C_CloseSession", "C_Finalize"};
  using Times = std::array<double, kSteps.size()>;

  /// Signs once, as a program that starts from nothing: the time of each step, in microseconds.
  Times sign_once() const;

  /// Generates a key pair, and destroys it: the time of the first, in microseconds.
  double generate_once() const;

 private:
  Kind m_kind;
  std::filesystem::path m_folder;
};

}  // namespace bench
