// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>

#include "declared.h"

using Botan::Dynamically_Loaded_Library;

template struct Class<Dynamically_Loaded_Library, kFinal>;
template struct Converts<Dynamically_Loaded_Library, const std::string&>;

void dynamically_loaded_library() {
  has<Dynamically_Loaded_Library, void*(const std::string&)>({&Dynamically_Loaded_Library::resolve_symbol});
  has<Dynamically_Loaded_Library, int*(const std::string&)>({&Dynamically_Loaded_Library::resolve<int*>});
}
