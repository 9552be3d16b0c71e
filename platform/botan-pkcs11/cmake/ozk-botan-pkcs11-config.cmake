# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
include(CMakeFindDependencyMacro)
find_dependency(PkgConfig)
pkg_check_modules(OZK_BOTAN QUIET IMPORTED_TARGET GLOBAL botan-2>=2.19)
pkg_check_modules(OZK_P11KIT QUIET IMPORTED_TARGET GLOBAL p11-kit-1)
if(NOT OZK_BOTAN_FOUND OR NOT OZK_P11KIT_FOUND)
  set(${CMAKE_FIND_PACKAGE_NAME}_FOUND FALSE)
  set(${CMAKE_FIND_PACKAGE_NAME}_NOT_FOUND_MESSAGE
    "It needs Botan 2.19 and the header of p11-kit, on Debian: apt-get install libbotan-2-dev libp11-kit-dev")
  return()
endif()
include(${CMAKE_CURRENT_LIST_DIR}/ozk-botan-pkcs11-targets.cmake)
