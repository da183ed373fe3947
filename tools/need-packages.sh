#!/usr/bin/env bash
# need-packages.sh PACKAGE...: makes sure that Debian packages are there. As root it installs what is missing; otherwise it
# names exactly what is missing and the command that installs it, and fails.
set -euo pipefail

missing=()
for package in "$@"; do
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "missing packages: ${missing[*]}" >&2
  echo "install them with: sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
