// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/build.h>

#include <string>

// What build.h says of a Botan that has these headers itself, for programs that test it.
#ifndef BOTAN_HAS_DYNAMIC_LOADER
#define BOTAN_HAS_DYNAMIC_LOADER 20160310
#endif
#ifndef BOTAN_HAS_PKCS11
#define BOTAN_HAS_PKCS11 20160219
#endif

/// Marks what libbotan-pkcs11 exports; everything else is hidden.
#define BOTAN_PKCS11_API __attribute__((visibility("default")))

namespace Botan {

/// A shared library that stays loaded as long as this object lives.
class BOTAN_PKCS11_API Dynamically_Loaded_Library final {
 public:
  /// Loads `lib_name`, a path or a name for the loader to search.
  /// Throws System_Error with the loader's message if that fails.
  Dynamically_Loaded_Library(const std::string& lib_name);

  ~Dynamically_Loaded_Library();

  Dynamically_Loaded_Library(const Dynamically_Loaded_Library&) = delete;
  Dynamically_Loaded_Library& operator=(const Dynamically_Loaded_Library&) = delete;

  /// The address of a symbol, never null. Throws Invalid_Argument if the library does not have it.
  void* resolve_symbol(const std::string& symbol);

  /// The same as a pointer of type T.
  template <typename T>
  T resolve(const std::string& symbol) {
    return reinterpret_cast<T>(resolve_symbol(symbol));
  }

 private:
  std::string m_lib_name;
  void* m_lib;
};

}  // namespace Botan
