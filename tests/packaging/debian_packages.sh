#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# debian_packages.sh SOURCE BUILD: makes the Debian packages and installs them into a root of their own; builds the
# README's program against them as users do, with CMake and with pkg-config; runs it on a token; removes the packages.
set -euo pipefail
source=$1 build=$2
((EUID == 0)) || { echo "dpkg installs for root alone"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }; }

quietly cpack --config "$build/CPackConfig.cmake" -B "$work/packages"
root=$work/root
mkdir -p "$root"/var/lib/dpkg/{info,updates,triggers}
touch "$root"/var/lib/dpkg/{status,available}
# What the packages depend on is in the machine's own root.
into_root() { quietly dpkg --root="$root" --log=/dev/null --force-depends --force-script-chrootless "$@"; }
into_root --install "$work"/packages/*.deb

bill=$root/usr/share/doc/client-cert-initializer/client-cert-initializer.spdx
for file in "$root"/usr/lib/*.so.* "$root/usr/lib/libteetoken.so" "$root"/usr/bin/*; do
  grep -q "^Relationship: SPDXRef-$(basename "$file") DYNAMIC_LINK SPDXRef-libc6$" "$bill" ||
    { echo "the bill of materials does not have $file"; exit 1; }
done
! grep -B 2 'PackageVersion: NOASSERTION' "$bill" || exit 1

mkdir "$work/program"
cd "$work/program"
sed -n '/^```cpp$/,/^```$/p' "$source/README.md" | grep -v '^```' >main.cpp
cat >backend.cpp <<'END'
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>
std::string ask_the_backend(const std::vector<std::uint8_t>& request);
std::string ask_the_backend(const std::vector<std::uint8_t>& request) {
  std::ofstream("request.der", std::ios::binary).write(reinterpret_cast<const char*>(request.data()),
                                                       static_cast<std::streamsize>(request.size()));
  if (std::system("openssl x509 -req -inform DER -in request.der -CA ca.pem -CAkey ca.key -out leaf.pem 2>&1") != 0) {
    return "";
  }
  std::ifstream chain("leaf.pem");
  return {std::istreambuf_iterator<char>(chain), {}};
}
END
cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.13)
project(program CXX)
find_package(ozk-client-cert-initializer 0.1 REQUIRED)
add_executable(program main.cpp backend.cpp)
target_link_libraries(program PRIVATE ozk::clientcertinitializer)
END
quietly cmake -S . -B build -DCMAKE_PREFIX_PATH="$root/usr"
quietly cmake --build build

export PKG_CONFIG_PATH=$root/usr/lib/pkgconfig
# shellcheck disable=SC2046 # flags are words
quietly c++ -std=c++14 -Wall -Wextra -Werror main.cpp backend.cpp -o program \
  $(pkg-config --cflags --libs ozk-client-cert-initializer) -Wl,-rpath,"$root/usr/lib"

export TEE_TOKEN_DIR=$work/token
quietly "$root/usr/bin/tee-token" init
quietly openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout ca.key -out ca.pem -subj /CN=CA
for program in build/program ./program; do
  "$program" >output
  grep -qx '64 bytes signed' output || { cat output; echo "$program did not sign"; exit 1; }
done
"$root/usr/bin/cci" status | grep -qx '  key fits    it signs what the certificate verifies'

into_root --purge libclientcertinitializer1 libclientcertinitializer-dev ozk-host-platform ozk-tools
[[ ! -e $root/usr ]] || { find "$root/usr"; echo "is left after the removal"; exit 1; }
