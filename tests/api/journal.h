// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "api/product_test.h"

namespace ozk::tee {

/// What an operation does, in its order: calls of the token ("C_Login 1 1 9", results after "->", a code that
/// is not CKR_OK after "=") and log records ("debug: TEXT", "error: TEXT").
using Journal = std::vector<std::string>;

Journal operator+(Journal first, const Journal& second);

/// One record as a journal shows it.
std::string debugged(const std::string& text);
std::string failed(const std::string& text);

std::string hexOf(const Bytes& bytes);

/// Attributes as calls show them: the type, then the value's bytes, in hexadecimal.
std::string attribute(unsigned long type, const std::string& hex);
std::string objectClass(unsigned number);
std::string labelled(const std::string& hex);
std::string permanent(bool value);
std::string client();  // CKA_VENDOR_CLIENT_ID = "CCI_CLIENT"
std::string keyId();   // CKA_VENDOR_KEY_ID = "LYR"

using Template = std::vector<std::string>;
std::string shown(const Template& attributes);

using Handle = unsigned long;
using Handles = std::vector<Handle>;

std::string number(unsigned long value);

/// Module loaded, slots listed, session opened, user logged in with a PIN of nine bytes.
Journal opened();
/// Logged out, session closed, module finalised.
Journal closed();
/// A search for at most 100 objects, which `finished` ends.
Journal searched(const Template& sought, const Handles& found);
Journal finished();
/// An attribute read: its length, then its value.
Journal read(Handle object, unsigned long type, unsigned long length);
/// The attributes that opening a key on secp256r1 reads.
Journal openedPublicKey(Handle object);
Journal openedPrivateKey(Handle object);
Journal destroyed(Handle object);

/// The handle lookups, with all that the token reports.
Journal lookedUpPublicKey(bool permanent, const Handles& found);
Journal lookedUpPrivateKey(bool permanent, const Handles& found);
Journal lookedUpBaseKey(const Handles& found);
Journal lookedUpChain(bool permanent, const Handles& found);

/// The library's operations under observation.
class JournalTest : public ProductTest {
 protected:
  JournalTest();
  ~JournalTest() override;

  /// What `operation` does must be `expected`. A Botan exception that leaves it is the last entry.
  void expect(const std::function<void()>& operation, const Journal& expected);
  /// The same between `opened` and `closed`; `thrown` is what() of the exception, if any.
  void expectInSession(const std::function<void()>& operation, const Journal& expected,
                       const std::string& thrown = "");

  /// Handles are in the order of making: of the token after `provision` on an empty one, and those that a key
  /// generation and an installation then make.
  static constexpr Handle kInstalledChain = 4, kInstalledPublic = 5, kInstalledPrivate = 6;
  static constexpr Handle kNewPublic = 7, kNewPrivate = 8, kNewChain = 9;

 private:
  Journal m_journal;
};

}  // namespace ozk::tee
