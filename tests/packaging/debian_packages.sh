#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# debian_packages.sh SOURCE BUILD: makes the Debian packages and installs them into a root of their own; builds the
# README's program and the layer's example there as users do, with CMake or pkg-config; runs them; removes the packages.
set -euo pipefail
source=$1 build=$2
((EUID == 0)) || { echo "skipped: dpkg installs for root alone"; exit 77; }
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
bill=$root/usr/share/doc/libclientcertinitializer1/client-cert-initializer.spdx
for file in "$root"/usr/lib/*.so.* "$root/usr/lib/libteetoken.so" "$root"/usr/bin/{cci,tee-token}; do
  grep -q "^Relationship: SPDXRef-$(basename "$file") DYNAMIC_LINK SPDXRef-libc6$" "$bill" ||
    { echo "the bill of materials does not have $file"; exit 1; }
done

mkdir "$work/program"
cd "$work/program"
sed -n '/^```cpp$/,/^```$/p' "$source/README.md" | grep -v '^```' >main.cpp
cat >>main.cpp <<'END'
#include <cstdlib>
#include <fstream>
#include <iterator>
std::string ask_the_backend(const std::vector<uint8_t>& request) {
  std::ofstream("request.der").write(reinterpret_cast<const char*>(request.data()), std::streamsize(request.size()));
  if (std::system("openssl x509 -req -in request.der -CA ca.pem -CAkey ca.key -out leaf.pem 2>&1") != 0) return "";
  std::ifstream chain("leaf.pem");
  return {std::istreambuf_iterator<char>(chain), {}};
}
END
cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.13)
project(program CXX)
find_package(ozk-client-cert-initializer 0.1 REQUIRED)
add_executable(program main.cpp)
target_link_libraries(program PRIVATE ozk::clientcertinitializer)
END
quietly cmake -S . -B build -DCMAKE_PREFIX_PATH="$root/usr"
quietly cmake --build build
quietly cmake -S "$source/examples/pkcs11-layer" -B layer -DCMAKE_PREFIX_PATH="$root/usr"
quietly cmake --build layer

export PKG_CONFIG_PATH=$root/usr/lib/pkgconfig
# with_pkg_config STANDARD SOURCE PROGRAM PACKAGE
with_pkg_config() {
  quietly c++ -std="$1" -Wall -Wextra -Werror "$2" -o "$3" $(pkg-config --cflags --libs "$4") -Wl,-rpath,"$root/usr/lib"
}
with_pkg_config c++14 main.cpp program ozk-client-cert-initializer
with_pkg_config c++11 "$source/examples/pkcs11-layer/main.cpp" sign-in-token ozk-botan-pkcs11

export TEE_TOKEN_DIR=$work/token
! ./program 2>said && grep -qx 'failed: no key pair; is there a token?' said || { cat said; echo "and no token"; exit 1; }
quietly "$root/usr/bin/tee-token" init
quietly openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout ca.key -out ca.pem -subj /CN=CA
for program in build/program ./program; do
  "$program" | grep -qx '64 bytes signed' || { echo "$program did not sign"; exit 1; }
done
quietly "$root/usr/bin/cci" status
export TEE_TOKEN_DIR=$work/other
quietly "$root/usr/bin/tee-token" --pin-hex 3132333435363738 init
for program in layer/sign-in-token ./sign-in-token; do
  "$program" "$root/usr/lib/libteetoken.so" 12345678 "a text" | grep -Eqx '[0-9A-F]{128}' ||
    { echo "$program did not sign"; exit 1; }
done

into_root --purge libclientcertinitializer1 libclientcertinitializer-dev ozk-host-platform{,-dev} ozk-tools
[[ ! -e $root/usr ]] || { find "$root/usr"; echo "is left after the removal"; exit 1; }
