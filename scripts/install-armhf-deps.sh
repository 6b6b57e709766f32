#!/bin/sh
# Installs what the 32-bit ARM cross build and its test run need: Debian's cross
# compiler, the armhf development packages through multiarch, and qemu-user to run the
# armhf unit tests on this machine. Only missing packages are fetched.
set -eu
PKGS="g++-arm-linux-gnueabihf qemu-user libcjson-dev:armhf libmd-dev:armhf libgtest-dev:armhf"
missing=""
for p in $PKGS; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
if [ "$(id -u)" != 0 ]; then
    echo "install-armhf-deps: missing packages:$missing (run as root or install them with apt-get)" >&2
    exit 1
fi
echo "install-armhf-deps: installing$missing"
export DEBIAN_FRONTEND=noninteractive
if ! dpkg --print-foreign-architectures | grep -qx armhf; then
    dpkg --add-architecture armhf
fi
# A mirror that is momentarily out of sync fails one index; the install below still
# finds what it needs in the others, and fails clearly when it does not.
apt-get update -qq || echo "install-armhf-deps: apt-get update reported errors; trying the install anyway" >&2
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $missing >/dev/null
