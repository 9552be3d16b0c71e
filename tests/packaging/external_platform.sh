#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# external_platform.sh SOURCE BUILD: installs the host platform to a prefix, builds the library, which includes only
# what any platform has, and product-tests against it, takes the library through a whole provisioning and runs the tests.
set -euo pipefail
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }; }

other=$(grep -rhoE '^#include <[^>]+>' "$source/src" "$source/include" | sort -u |
  grep -vE '<(botan/[a-z0-9_]+\.h|ara/log/logging\.h|[a-z_]+)>' || true)
[[ -z $other ]] || { echo "headers that not every platform has: $other"; exit 1; }
quietly cmake --install "$build" --prefix "$work/platform"
# What was installed of the library itself must not help.
find "$work/platform" \( -name '*clientcertinitializer*' -o -name 'ozk-client-cert-initializer*' -o -path '*/ozk/tee' \) \
  -prune -exec rm -rf {} +
# The library must not need copies or moves of this class, which another platform's may not have.
header=$work/platform/include/botan/p11_trust_store_group.h
sed -i '/^class .*TrustStoreGroupCertificateChainProperties/,/public:/ s/public:/&\n  ~TrustStoreGroupCertificateChainProperties() {}/' "$header"
grep -q '~TrustStoreGroupCertificateChainProperties' "$header"
# Without optimisation and debug information, several sources at once, it is built in a quarter of the time.
quietly cmake -G Ninja -S "$source" -B "$work/build" -DCMAKE_BUILD_TYPE=None -DCMAKE_UNITY_BUILD=ON \
  -DCCI_PLATFORM=external -DCCI_COMMAND=OFF -DCMAKE_PREFIX_PATH="$work/platform"
! cmake -S "$source" -B "$work/wrong" -DCCI_PLATFORM=hots >"$work/log" 2>&1 && grep -q 'must be host or external' "$work/log"
quietly cmake --build "$work/build" --target clientcertinitializer provisioning mutual-tls sbom product-tests
quietly cmake --install "$work/build" --prefix "$work/product"
ln -s "$work/platform/bin/tee-token" "$work/build/bin/"
"$work/build/bin/provisioning" --explain >"$work/demo"
! grep -E '.{81}' "$work/demo" || { echo "these lines of the demonstration are too long for a terminal"; exit 1; }
find "$work/product" -name client_cert_initializer_api.h -o -name libclientcertinitializer.so.1 | grep -c . | grep -qx 2
ctest --test-dir "$work/build" --output-on-failure --no-tests=error -j "$(nproc)" --tests-regex '^product-tests\.'
