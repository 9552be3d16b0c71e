#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# cross.sh FOLDER PACKAGE...: builds everything for aarch64 in FOLDER, against the arm64 packages in FOLDER/root, and runs
# the demonstration under qemu.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p "$1"
folder=$(cd "$1" && pwd) packages=("${@:2}")
root=$folder/root

quietly() { "$@" >"$folder/log" 2>&1 || { tail -n 20 "$folder/log" >&2; echo "failed: $*" >&2; exit 1; }; }

# apt-get with a state of its own: to it, no package is installed, so it gets all that the given ones need.
apt_of_root() {
  apt-get -q -y -o APT::Architecture=arm64 -o APT::Architectures=arm64 -o APT::Install-Recommends=false \
    -o Dir::State="$folder/apt" -o Dir::State::status="$folder/apt/status" -o Dir::Cache="$folder/apt/cache" "$@"
}

# Absolute links of the packages would lead out of the folder.
make_links_relative() {
  local link
  find "$root" -type l -lname '/*' | while read -r link; do ln -sfnr "$root$(readlink "$link")" "$link"; done
}

if [[ $(cat "$root/complete" 2>/dev/null) != "${packages[*]}" ]]; then
  echo "==> unpacking arm64 packages to $root"
  rm -rf "$root" "$folder/apt"
  mkdir -p "$root" "$folder"/apt/{lists,cache/archives}/partial
  : >"$folder/apt/status"
  quietly apt_of_root update
  quietly apt_of_root --download-only install "${packages[@]}"
  for package in "$folder"/apt/cache/archives/*.deb; do dpkg-deb -x "$package" "$root"; done
  make_links_relative
  echo "${packages[*]}" >"$root/complete"
fi

"$root/lib/ld-linux-aarch64.so.1" --version >"$folder/log" 2>&1 || {
  echo "this kernel does not start qemu for aarch64 programs: mount binfmt_misc, then: update-binfmts --enable qemu-aarch64" >&2
  exit 1
}

# Where qemu, which the kernel starts for an aarch64 program, finds the program's libraries.
export QEMU_LD_PREFIX=$root
echo "==> building $folder"
quietly cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DARA_LOG_DLT=OFF \
  -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/aarch64.cmake" -DCCI_SYSROOT="$root"
quietly cmake --build "$folder"
file -L "$folder/lib/libclientcertinitializer.so.1" | sed 's/.*ELF/ELF/; s/, BuildID.*//'
echo "==> the demonstration"
"$folder/bin/provisioning"
