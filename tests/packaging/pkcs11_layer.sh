#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# pkcs11_layer.sh SOURCE BUILD: installs the PKCS#11 layer and nothing else to a prefix; builds its example there as
# its users do, with CMake and with pkg-config, and lets both sign.
set -euo pipefail
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }; }

quietly cmake --install "$build" --component botan-pkcs11 --prefix "$work/installed"
mv "$work/installed" "$work/prefix"  # what is installed can be moved
cp -r "$source/examples/pkcs11-layer" "$work/example"

quietly cmake -G Ninja -S "$work/example" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix"
quietly cmake --build "$work/build"

PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name ozk-botan-pkcs11.pc)")
export PKG_CONFIG_PATH
# shellcheck disable=SC2046 # flags are words
quietly c++ -std=c++11 -Wall -Wextra -Werror "$work/example/main.cpp" -o "$work/sign-in-token" \
  $(pkg-config --cflags --libs ozk-botan-pkcs11) -Wl,-rpath,"$(pkg-config --variable=libdir ozk-botan-pkcs11)"

export TEE_TOKEN_DIR=$work/token
quietly "$build/bin/tee-token" --pin-hex 3132333435363738 init
for program in "$work/build/sign-in-token" "$work/sign-in-token"; do
  "$program" "$build/lib/libteetoken.so" 12345678 "a text" | grep -Eqx '[0-9A-F]{128}' ||
    { echo "$program did not sign"; exit 1; }
done
