#!/usr/bin/env bash
# external_platform.sh SOURCE BUILD: installs the host platform to a prefix, builds the library alone against it, and
# takes it through a whole provisioning there.
set -euo pipefail
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }; }

quietly cmake --install "$build" --prefix "$work/platform"
# What was installed of the library itself must not help.
find "$work/platform" \( -name '*clientcertinitializer*' -o -name 'ozk-client-cert-initializer*' -o -path '*/ozk/tee' \) \
  -prune -exec rm -rf {} +
quietly cmake -G Ninja -S "$source" -B "$work/build" -DCCI_PLATFORM=external -DCMAKE_PREFIX_PATH="$work/platform"
quietly cmake --build "$work/build"
quietly cmake --install "$work/build" --prefix "$work/product"
ln -s "$work/platform/bin/tee-token" "$work/build/bin/"
"$work/build/bin/provisioning"
find "$work/product" -name client_cert_initializer_api.h -o -name libclientcertinitializer.so.1 | grep -c . | grep -qx 2
