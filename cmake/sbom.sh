#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# sbom.sh OUTPUT NAME VERSION LICENSE CONTAINED FILE...: writes a bill of materials (SPDX 2.3, tag-value) of the built
# files: what each is linked with, from its dynamic section, and the Debian packages of which the files contain code
# (CONTAINED: names with commas between them), all with the versions on this machine.
set -euo pipefail
output=$1 name=$2 version=$3 license=$4 contained=${5//,/ }
files=("${@:6}")
declare -A ours described owner_of

id_of() { echo "SPDXRef-${1//[^A-Za-z0-9.]/-}"; }

# describe NAME VERSION LICENSE [EXTRA-LINE]: a package, once.
describe() {
  [[ -z ${described[$1]:-} ]] || return 0
  described[$1]=yes
  printf '\nPackageName: %s\nSPDXID: %s\nPackageVersion: %s\nPackageDownloadLocation: NOASSERTION\nFilesAnalyzed: false\n' \
    "$1" "$(id_of "$1")" "$2"
  printf 'PackageLicenseConcluded: %s\nPackageLicenseDeclared: %s\nPackageCopyrightText: NOASSERTION\n' "$3" "$3"
  [[ -z ${4:-} ]] || printf '%s\n' "$4"
}

describe_debian() {
  local found
  found=$(dpkg-query -W -f '${Version} ${Architecture}' "$1" 2>/dev/null) || found=""
  read -r package_version architecture <<<"$found" || true
  describe "$1" "${package_version:-NOASSERTION}" NOASSERTION \
    "ExternalRef: PACKAGE-MANAGER purl pkg:deb/debian/$1@${package_version:-}?arch=${architecture:-}"
}

# Notes the Debian package of a library that FILE is linked with; its own name where there is none.
find_owner() {
  local path owner
  [[ -z ${owner_of[$1]:-} ]] || return 0
  path=$(ldd "$2" | awk -v library="$1" '$1 == library { print $3 } $1 ~ "/" library "$" { print $1 }')
  owner=$(dpkg-query -S "$path" 2>/dev/null || dpkg-query -S "/usr$path" 2>/dev/null ||
    dpkg-query -S "$(readlink -f "$path")" 2>/dev/null || echo "$1:")
  owner_of[$1]=${owner%%:*}
}

relate() { printf 'Relationship: %s %s %s\n' "$(id_of "$1")" "$2" "$(id_of "$3")"; }

document() {
  local file library package
  printf 'SPDXVersion: SPDX-2.3\nDataLicense: CC0-1.0\nSPDXID: SPDXRef-DOCUMENT\nDocumentName: %s-%s\n' "$name" "$version"
  printf 'DocumentNamespace: https://%s.invalid/spdx/%s/%s\nCreator: Tool: sbom.sh\nCreated: %s\n' "$name" "$version" \
    "$(cat "${files[@]}" | sha256sum | cut -c 1-32)" "$(date -u -d "@${SOURCE_DATE_EPOCH:-$(date +%s)}" +%FT%TZ)"
  describe "$name" "$version" "$license"
  relate DOCUMENT DESCRIBES "$name"
  for file in "${files[@]}"; do ours[$(basename "$file")]=yes; done
  for file in "${files[@]}"; do
    describe "$(basename "$file")" "$version" "$license" "PackageChecksum: SHA256: $(sha256sum "$file" | cut -c 1-64)"
    relate "$name" CONTAINS "$(basename "$file")"
    while read -r library; do
      package=$library
      if [[ -z ${ours[$library]:-} ]]; then
        find_owner "$library" "$file"
        package=${owner_of[$library]}
        describe_debian "$package"
      fi
      relate "$(basename "$file")" DYNAMIC_LINK "$package"
    done < <(readelf -d "$file" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
  done
  for package in $contained; do
    describe_debian "$package"
    relate "$name" STATIC_LINK "$package"
  done
}

document >"$output.new"
mv "$output.new" "$output"
