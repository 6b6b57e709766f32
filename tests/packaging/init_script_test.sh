#!/bin/sh
# Usage: sh init_script_test.sh SOURCE_DIR. Runs start_service and stop_service of the
# router's init script (packaging/openwrt/files/telem_json.init) with stand-ins for
# the functions /etc/rc.common, procd and UCI give it, and checks the instance's
# command line and respawn settings, the refusal of a publisher directory that is not
# an absolute path, and stopping the detached agent through its PID file.
set -u
src=${1:?usage: init_script_test.sh SOURCE_DIR}
init=$src/packaging/openwrt/files/telem_json.init
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# --- stand-ins -------------------------------------------------------------------------
# UCI: the test's options, "option=value" lines in $work/uci.
config_load() { echo "config_load $1" >>"$work/calls"; }
config_get() { # VAR SECTION OPTION [DEFAULT]
    [ "$2" = main ] || { eval "$1=\${4:-}"; return; }
    if grep -q "^$3=" "$work/uci"; then
        eval "$1=\$(sed -n 's/^$3=//p' \"\$work/uci\")"
    else
        eval "$1=\${4:-}"
    fi
}
# procd: every call, one line, words separated by "|".
procd_record() {
    line=$1
    shift
    for w in "$@"; do line="$line|$w"; done
    echo "$line" >>"$work/calls"
}
procd_open_instance() { procd_record open_instance "$@"; }
procd_set_param() { procd_record set_param "$@"; }
procd_append_param() { procd_record append_param "$@"; }
procd_close_instance() { procd_record close_instance "$@"; }
procd_add_reload_trigger() { procd_record reload_trigger "$@"; }
logger() { echo "logger $*" >>"$work/calls"; }

TELEM_PID_FILE=$work/telemjson.pid
# shellcheck source=/dev/null
. "$init"

# start_service with the given UCI options; its status in $status, its calls in
# $work/calls, its standard error in $work/err.
start_with() {
    : >"$work/calls"
    printf '%s\n' "$@" >"$work/uci"
    (start_service) 2>"$work/err"
    status=$?
}

expect_calls() { # WHAT EXPECTED-LINES
    printf '%s\n' "$2" >"$work/expected"
    cmp -s "$work/calls" "$work/expected" || {
        fail "$1: procd calls differ"
        diff "$work/expected" "$work/calls"
    }
}

# --- the instance -----------------------------------------------------------------------
start_with ""
[ $status -eq 0 ] || fail "default options: status $status"
expect_calls "default options" "config_load telem_json
open_instance
set_param|command|/usr/sbin/telem_json
set_param|respawn|3600|5|5
set_param|stdout|1
set_param|stderr|1
close_instance"

start_with "publisher_dir=/opt/pub" "respawn_threshold=600" "respawn_timeout=10" "respawn_retry=0"
[ $status -eq 0 ] || fail "publisher_dir /opt/pub: status $status"
expect_calls "publisher_dir /opt/pub" "config_load telem_json
open_instance
set_param|command|/usr/sbin/telem_json
append_param|command|-c|/opt/pub
set_param|respawn|600|10|0
set_param|stdout|1
set_param|stderr|1
close_instance"

start_with "enabled=0" "publisher_dir=/usr/bin"
[ $status -eq 0 ] || fail "disabled: status $status"
expect_calls "disabled" "config_load telem_json"

# --- publisher directories that are refused --------------------------------------------
# shellcheck disable=SC2088 # a literal tilde, as UCI would hold it
for bad in pub ./pub "~/pub" "/opt/my pub" '/opt/$(reboot)' '/opt/pub;reboot' "/opt/pub'"; do
    start_with "publisher_dir=$bad"
    [ $status -ne 0 ] || fail "publisher_dir '$bad' accepted"
    grep -q "open_instance" "$work/calls" && fail "publisher_dir '$bad': an instance was opened"
    grep -qF "telem_json: publisher_dir '$bad' is not an absolute path" "$work/err" ||
        fail "publisher_dir '$bad': no clear message (got: $(cat "$work/err"))"
    grep -qF "logger -t telem_json publisher_dir '$bad'" "$work/calls" || fail "publisher_dir '$bad' not logged"
done

# --- PID file ---------------------------------------------------------------------------
# A PID file whose process is gone is removed before the start; one of a running agent
# is kept (the agent then refuses the second start by itself).
echo 999999 >"$TELEM_PID_FILE"
start_with ""
[ -f "$TELEM_PID_FILE" ] && fail "a stale PID file was kept"
cp "$(command -v sleep)" "$work/telem_json"
"$work/telem_json" 30 &
agent=$!
printf '%d' "$agent" >"$TELEM_PID_FILE"
start_with ""
[ -f "$TELEM_PID_FILE" ] || fail "the PID file of a running agent was removed"
(stop_service)
i=0
while kill -0 "$agent" 2>/dev/null && [ "$(cat "/proc/$agent/stat" 2>/dev/null | cut -d' ' -f3)" != Z ] && [ $i -lt 50 ]; do
    sleep 0.1
    i=$((i + 1))
done
[ $i -lt 50 ] || fail "stop_service did not stop the agent"
[ -f "$TELEM_PID_FILE" ] && fail "stop_service left the PID file"
wait "$agent" 2>/dev/null
# A PID file naming a process that is not the agent: nothing is killed.
sleep 30 &
other=$!
printf '%d' "$other" >"$TELEM_PID_FILE"
(stop_service)
sleep 0.2
kill -0 "$other" 2>/dev/null || fail "stop_service killed a process that is not telem_json"
kill "$other" 2>/dev/null

: >"$work/calls"
service_triggers
expect_calls "reload trigger" "reload_trigger|telem_json"

[ $failures -eq 0 ] || exit 1
echo "PASS: init script instance, respawn, publisher directory checks and stop"
