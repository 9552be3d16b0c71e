#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# portability.sh LIBRARY SOURCE: the name that programs load the library by, and what its sources may include.
set -euo pipefail
readelf -d "$1" | grep -q 'SONAME.*\[libclientcertinitializer\.so\.1\]' || { echo "wrong soname"; exit 1; }
other=$(grep -rhoE '^#include <[^>]+>' "$2/src" "$2/include" | sort -u |
  grep -vE '<(botan/[a-z0-9_]+\.h|ara/log/logging\.h|[a-z_]+)>' || true)
[[ -z $other ]] || { echo "headers that not every platform has: $other"; exit 1; }
