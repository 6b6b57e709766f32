#!/bin/sh
# Usage: sh shellcheck_test.sh SOURCE_DIR. Every shell script of the tree passes shellcheck at
# severity "warning". A script is a file named *.sh, or a file whose first line runs
# sh, dash, bash or /etc/rc.common (the router's init scripts).
set -u
src=${1:?usage: shellcheck_test.sh SOURCE_DIR}
command -v shellcheck >/dev/null 2>&1 || { echo "FAIL: shellcheck is not installed (make deps installs it)"; exit 1; }
cd "$src" || exit 1
list=$(mktemp)
trap 'rm -f "$list"' EXIT
find . \( -path ./.git -o -path ./.ci -o -path './build*' \) -prune -o -type f -print |
    sed 's|^\./||' | sort >"$list.all"
{
    grep '\.sh$' "$list.all"
    # One awk over every other file: its first line decides.
    grep -v '\.sh$' "$list.all" | tr '\n' '\0' | xargs -0 awk '
        FNR == 1 {
            if ($0 ~ /^#!(\/bin\/(ba|da)?sh|\/usr\/bin\/env (ba)?sh)([ \t]|$)/) print FILENAME
            nextfile
        }'
} | sort -u >"$list"
rm -f "$list.all"
n=$(wc -l <"$list")
[ "$n" -ge 10 ] || { echo "FAIL: only $n shell scripts found in $src"; exit 1; }
# Init scripts are sourced by /etc/rc.common: checked as sh.
# shellcheck disable=SC2046 # one path per line, no blanks in the tree's names
if shellcheck -S warning -s sh $(cat "$list"); then
    echo "PASS: $n shell scripts pass shellcheck -S warning"
    exit 0
fi
echo "FAIL: shellcheck found problems in the scripts above"
exit 1
