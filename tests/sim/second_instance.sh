#!/bin/sh
# A second telem_json is refused while /var/run/telemjson.pid exists: it prints
# "telem_json already running.", exits 0 and touches nothing (no sibling restarted, the
# running daemon left alone). The file alone decides: a stale or empty one also refuses.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_mkroot vra420
# No broker: publishing goes to a port where nothing listens.
AWSIOTPUB_HOST=127.0.0.1 AWSIOTPUB_PORT=1
export AWSIOTPUB_HOST AWSIOTPUB_PORT
t_start_daemon
pidfile=$T_ROOT/var/run/telemjson.pid
t_wait 45 test -s "$pidfile" || t_fail "the first daemon wrote no PID file"
sim_wait 10 t_daemon_running || t_fail "the first daemon is not running"
first_pid=$(cat "$pidfile")
case $first_pid in '' | *[!0-9]*) t_fail "PID file holds '$first_pid', not a process id" ;; esac
restarts() { grep -c -e '^killall telem_heartbeat' -e '^killall telem_wifi' "$T_ROOT/.sim/commands.log"; }
before=$(restarts)
out=$(sim_exec "$T_ROOT" /usr/bin/telem_json 2>&1)
rc=$?
t_expect_eq "second instance output" "$out" "telem_json already running."
t_expect_eq "second instance exit status" "$rc" "0"
t_expect_eq "sibling restarts by the second instance" "$(restarts)" "$before"
t_daemon_running || t_fail "the first daemon is gone"
t_expect_eq "PID file" "$(cat "$pidfile")" "$first_pid"

# A stale file left by a daemon that no longer runs, then an empty one.
sim_session_stop "$T_ROOT" || t_fail "could not stop the first daemon"
for content in stale empty; do
    if [ $content = empty ]; then : >"$pidfile"; fi
    out=$(sim_exec "$T_ROOT" /usr/bin/telem_json 2>&1)
    rc=$?
    t_expect_eq "start with a $content PID file" "$out" "telem_json already running."
    t_expect_eq "exit status with a $content PID file" "$rc" "0"
done
t_pass "a second instance is refused"
