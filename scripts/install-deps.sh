#!/bin/sh
# Installs the Debian packages the build, the tests and the demo need.
# Only missing packages are fetched, so a second run costs nothing.
set -eu
PKGS="build-essential cmake pkg-config libcjson-dev libmd-dev libgtest-dev libgmock-dev \
libbenchmark-dev libmosquitto-dev mosquitto mosquitto-clients busybox-static libfaketime faketime \
jq python3-jsonschema shellcheck openssl"
# --- fuzzing --- clang with libFuzzer and the sanitizer runtimes (make fuzz), and the
# coverage tools llvm-profdata and llvm-cov (make fuzz-coverage).
PKGS="$PKGS clang libclang-rt-14-dev llvm-14"
missing=""
for p in $PKGS; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
if [ "$(id -u)" != 0 ]; then
    echo "install-deps: missing packages:$missing (run as root or install them with apt-get)" >&2
    exit 1
fi
echo "install-deps: installing$missing"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || echo "install-deps: apt-get update reported errors; trying the install anyway" >&2
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $missing >/dev/null
