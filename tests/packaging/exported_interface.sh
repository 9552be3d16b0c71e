#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# exported_interface.sh SOURCE BUILD: compares what programs are bound to once they are linked with the library
# (symbols and their versions, the order of the virtual operations, enumerators, sizes) with what is stored beside
# this script. With CCI_ACCEPT=1, stores it.
set -euo pipefail
stored=${BASH_SOURCE[0]%.sh}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Nothing in it depends on where the sources are.
abidw --headers-dir "$1/include" --drop-private-types --exported-interfaces-only --drop-undefined-syms \
  --suppr "$stored.suppr" --no-architecture --no-comp-dir-path --no-corpus-path --no-elf-needed \
  --no-parameter-names --no-show-locs --type-id-style hash "$2/lib/libclientcertinitializer.so.1" |
  sed "s#path='[^']*/src/#path='src/#" >"$work/abi"
if [[ ${CCI_ACCEPT:-} == 1 ]]; then
  cp "$work/abi" "$stored.abi"
elif ! abidiff --harmless "$stored.abi" "$work/abi" >"$work/report"; then
  cat "$work/report"
  echo "the exported interface is not the stored one; if that is meant: ./run accept"
  exit 1
fi
