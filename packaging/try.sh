#!/usr/bin/env bash
# try.sh DEBS: checks the packages in the folder DEBS with lintian, and installs and uses them on a bare system, made by
# debootstrap, kept in build-package/bare.tar for the next time, and entered by chroot. Without root, debootstrap or the
# archive they are unpacked into a folder and used there.
set -euo pipefail
cd "$(dirname "$0")/.."
debs=$(realpath "$1") bare=$PWD/build-package/bare.tar
root=$(mktemp -d)
chmod 755 "$root"
trap 'rm -rf --one-file-system "$root"' EXIT
. /etc/os-release

step() { echo "-- $*"; }
fail() { echo "$*"; exit 1; }

# What is done with the packages; the argument is the folder where they were only unpacked.
cat >"$root/use" <<'USE'
set -eu
prefix=${1:-}
cd "$(mktemp -d)"
cp "$prefix/photograph.png" "$prefix/example.c" .
"$prefix/usr/bin/zelcodec" encode photograph.png photograph.jpg
"$prefix/usr/bin/zelcodec" decode photograph.jpg back.png
"$prefix/usr/bin/zelcodec" compare photograph.png back.png --min-psnr 30
[ "$(pkg-config --modversion zelj)" = 6.1 ]
cc example.c $(pkg-config --cflags --libs zelj) -o shared
./shared
cc -static example.c $(pkg-config --static --cflags --libs zelj) -o static 2>/dev/null
./static
USE

if command -v lintian >/dev/null; then
  step lintian
  lintian --allow-root --fail-on error "$debs"/*.deb
else
  step lintian is missing: not checked
fi

makeBare() {
  [ "$(id -u)" = 0 ] && command -v debootstrap >/dev/null || return 1
  [ ! -s "$bare" ] || return 0
  step "debootstrap $VERSION_CODENAME"
  debootstrap --variant=minbase --include=gcc,libc6-dev,pkg-config "$VERSION_CODENAME" "$root/made" >"$root/log" 2>&1 || {
    tail -3 "$root/log"
    return 1
  }
  tar -C "$root/made" -cf "$bare.part" . && mv "$bare.part" "$bare"
}
give() {
  cp images/canyon.png "$1/photograph.png"
  awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' README.md >"$1/example.c"
}

if makeBare; then
  step a bare system
  system=$root/system
  mkdir "$system" && tar -C "$system" -xf "$bare"
  inside() { chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"; }
  cp /etc/resolv.conf "$system/etc/"
  mkdir "$system/debs" && cp "$debs"/*.deb "$system/debs"
  inside apt-get -qq update
  # First the library and the tool alone: what they need comes with them. Then the rest.
  add() {
    inside sh -c "apt-get -qq install -y --no-install-recommends $*" >"$root/log" 2>&1 ||
      { cat "$root/log"; fail "cannot be installed: $*"; }
  }
  add '/debs/libzeljy8_*.deb' '/debs/zelj-tools_*.deb'
  inside zelcodec --version
  add '/debs/*.deb'
  give "$system"
  inside sh -s <"$root/use"
  if [ -n "$(find "$debs" -name 'python3-zelj_*')" ]; then
    inside python3 -c 'import zelj; pixels, info = zelj.read("/photograph.png"); print("python:", pixels.shape)'
  fi
  step removed again
  inside sh -c 'apt-get -qq purge -y $(for deb in /debs/*.deb; do dpkg-deb -f $deb Package; done)' >"$root/log" 2>&1
  left=$(find "$system/usr" \( -name '*zelj*' -o -name '*zelco*' \) | head)
  [ -z "$left" ] || fail "left behind: $left"
else
  step unpacked, as there is no root, no debootstrap or no archive
  for deb in "$debs"/*.deb; do dpkg-deb -x "$deb" "$root"; done
  give "$root"
  folder=$(dirname "$(find "$root" -name zelj.pc)")
  LD_LIBRARY_PATH=$(dirname "$folder") PKG_CONFIG_PATH=$folder sh "$root/use" "$root"
fi
step the packages work
