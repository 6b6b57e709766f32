#!/bin/sh
# Usage: sh install_layout_test.sh BUILD_DIR. `cmake --install` into a staging folder
# lays out the router's files: the agent in /usr/sbin, its init script and UCI
# configuration, the publishers in /usr/bin (the agent's default publisher directory)
# and the nvram and uci stand-ins where the router has its own.
set -u
build=${1:?usage: install_layout_test.sh BUILD_DIR}
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cmake --install "$build" --prefix "$stage" >"$stage.log" 2>&1 || { cat "$stage.log"; rm -f "$stage.log"; echo "FAIL: cmake --install failed"; exit 1; }
rm -f "$stage.log"
failures=0
for f in usr/sbin/telem_json etc/init.d/telem_json usr/bin/mcs_publish; do
    [ -x "$stage/$f" ] || { echo "FAIL: /$f missing or not executable"; failures=$((failures + 1)); }
done
[ -f "$stage/etc/config/telem_json" ] || { echo "FAIL: /etc/config/telem_json missing"; failures=$((failures + 1)); }
if [ -x "$build/bin/awsiotpub" ]; then
    [ -x "$stage/usr/bin/awsiotpub" ] || { echo "FAIL: /usr/bin/awsiotpub missing"; failures=$((failures + 1)); }
fi
if [ -x "$build/bin/nvram" ]; then
    [ -x "$stage/usr/sbin/nvram" ] && [ -x "$stage/sbin/uci" ] || { echo "FAIL: nvram/uci stand-ins missing"; failures=$((failures + 1)); }
fi
"$stage/usr/sbin/telem_json" -v | grep -q '^Version V1.5.1.4$' || { echo "FAIL: the installed agent does not run"; failures=$((failures + 1)); }
head -n 1 "$stage/etc/init.d/telem_json" | grep -qx '#!/bin/sh /etc/rc.common' || { echo "FAIL: init script header"; failures=$((failures + 1)); }
extra=$(cd "$stage" && find . -type f | sed 's|^\./||' | grep -v -x -e usr/sbin/telem_json -e etc/init.d/telem_json \
    -e etc/config/telem_json -e usr/bin/awsiotpub -e usr/bin/mcs_publish -e usr/sbin/nvram -e sbin/uci)
[ -z "$extra" ] || { echo "FAIL: unexpected files installed: $extra"; failures=$((failures + 1)); }
[ $failures -eq 0 ] || exit 1
echo "PASS: router layout: $(cd "$stage" && find . -type f | sed 's|^\.||' | sort | tr '\n' ' ')"
