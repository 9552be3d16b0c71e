#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# Compiles the tables of what the PKCS #11 layer declares, by each compiler, as the oldest C++ that it is for (the
# build has them as the newest); then what has to bring an error or a warning.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/interface"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
flags=(-fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Wshadow -I ../../../platform/botan-pkcs11/include
  -isystem /usr/include/botan-2 -isystem /usr/include/p11-kit-1)

awk -f constants.awk /usr/include/p11-kit-1/p11-kit/pkcs11.h >"$scratch/constants.cpp"
printf '%s\n' {g++,clang++}\ -std=c++11\ {*.cpp,"$scratch/constants.cpp"} |
  xargs -P "$(nproc)" -I {} sh -c "{} -Werror ${flags[*]} || { echo 'does not compile: {}' >&2; exit 255; }"

# says WHAT COMMAND...: COMMAND, whether it succeeds or not, puts out WHAT
says() {
  local output
  output=$("${@:2}" 2>&1) || true
  [[ $output == *"$1"* ]] || {
    echo "does not say '$1': ${*:2}: $output" >&2
    exit 1
  }
}

for compiler in g++ clang++; do
  compile=("$compiler" -std=c++11 "${flags[@]}")
  says 'a numeric attribute is an integer' "${compile[@]}" -D ADD_NUMERIC_OF_AN_ENUM p11_object.cpp
  for name in module slot session; do
    echo "#include <botan/p11_$name.h>
      using namespace Botan::PKCS11;
      Session open(Module& module) { Slot slot(module, 0); return Session(slot, true); }" >"$scratch/$name.cpp"
    "${compile[@]}" "$scratch/$name.cpp" 2>"$scratch/warnings"
    says 'this header is deprecated' cat "$scratch/warnings"
  done
done
