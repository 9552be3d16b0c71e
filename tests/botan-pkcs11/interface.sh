#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# Compiles the headers of the PKCS#11 layer as C++11, the oldest that it is for (but not the deprecated ones, which warn),
# and compares its constants with those of p11-kit.
set -euo pipefail
shopt -s extglob
cd "$(dirname "${BASH_SOURCE[0]}")/../../platform/botan-pkcs11/include"
{
  printf '#include <%s>\n' botan/!(p11_module|p11_slot|p11_session).h
  awk -f ../../../tests/botan-pkcs11/constants.awk /usr/include/p11-kit-1/p11-kit/pkcs11.h
} | g++ -std=c++11 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only -x c++ - \
  -I . -isystem /usr/include/botan-2 -isystem /usr/include/p11-kit-1
