#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# Compiles each header of the PKCS#11 layer alone as C++11, the oldest that it is for (but not the deprecated ones, which
# warn), and compares its constants with those of p11-kit.
set -euo pipefail
shopt -s extglob
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
constants=$(mktemp)
trap 'rm "$constants"' EXIT
awk -f tests/botan-pkcs11/constants.awk /usr/include/p11-kit-1/p11-kit/pkcs11.h >"$constants"
flags='-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only -I platform/botan-pkcs11/include'
flags+=' -isystem /usr/include/botan-2 -isystem /usr/include/p11-kit-1 -x c++ /dev/null -include'
for header in platform/botan-pkcs11/include/botan/!(p11_module|p11_slot|p11_session).h "$constants"; do
  printf '%s\n' "g++ -std=c++11 $flags $header"
done | xargs -P "$(nproc)" -I {} sh -c "{} || { echo 'does not compile: {}' >&2; exit 255; }"
