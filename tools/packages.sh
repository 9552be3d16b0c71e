#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# packages.sh BUILD FOLDER: makes the Debian packages of a build for the prefix /usr in FOLDER, checks them with lintian,
# installs them into a bare Debian 12 of their own, and takes the README's steps there.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$1 folder=$2
work=$(mktemp -d)
trap 'rm -rf --one-file-system "$work"' EXIT

quietly() { "$@" >"$work/log" 2>&1 || { tail -n 20 "$work/log" >&2; echo "failed: $*" >&2; exit 1; }; }

mkdir -p "$folder"
rm -f "$folder"/*.deb
quietly cpack --config "$build/CPackConfig.cmake" -B "$work/packages"
cp "$work"/packages/*.deb "$folder/"
echo "==> checking the packages with lintian"
lintian --allow-root --fail-on error,warning "$folder"/*.deb

echo "==> installing them into a bare Debian 12"
root=$work/root
mirror=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' | sed -n 1p)
quietly debootstrap --variant=minbase bookworm "$root" "$mirror"
rm -f "$root/etc/apt/sources.list"
cp -r /etc/apt/. "$root/etc/apt/"
cp /etc/resolv.conf /etc/hosts "$root/etc/"
mkdir "$root/packages"
cp "$folder"/*.deb "$root/packages/"
# The README's steps; the folder of the programs and the pause for the server are other ones here.
sed -n '/^## A certificate of your own/,/^## /s/^    \$ //p' README.md |
  sed 's#PATH=REPOSITORY/build/bin:#PATH=#; s/ & sleep 1$/ \& sleep 3/' >"$root/steps"
cat >"$root/install" <<'END'
set -e
export DEBIAN_FRONTEND=noninteractive
apt-get -q update
dpkg -i /packages/*.deb || apt-get -q -y -f --no-install-recommends install
dpkg -i /packages/*.deb
apt-get -q -y --no-install-recommends install openssl
END
in_root() {
  unshare --mount --propagation private sh -c 'mount -t proc proc "$1/proc"; exec chroot "$@"' sh "$root" \
    /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 sh -c "$1" </dev/null
}
quietly in_root 'sh /install'
in_root 'mkdir /try && cd /try && sh -ex /steps' 2>&1 | tee "$work/steps.log"
grep -q 'Subject: CN=device-1' "$work/steps.log" || { echo "the server did not see the certificate" >&2; exit 1; }
echo "==> the packages are in $folder"
