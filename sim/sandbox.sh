#!/bin/sh
# sandbox.sh: the simulated router by hand.
#
#   sh sim/sandbox.sh mkroot BIN_DIR SCENARIO ROOT   generate a router root
#   sh sim/sandbox.sh start ROOT [ARG...]            run telem_json ARG... in the background
#                                                    (output in ROOT/.sim/session.out)
#   sh sim/sandbox.sh exec ROOT COMMAND...           run a command inside the router
#                                                    (e.g. "exec ROOT sh" for a shell)
#   sh sim/sandbox.sh ps ROOT                        processes running in the router
#   sh sim/sandbox.sh stop ROOT                      kill everything running in the router
#   sh sim/sandbox.sh destroy ROOT                   stop, then delete the root
#
# SIM_SPEED=N runs the daemon's clock N times faster (start only). The publisher reads
# AWSIOTPUB_HOST / AWSIOTPUB_PORT from the environment given to start and exec.
set -u
SIM_DIR=$(cd "$(dirname "$0")" && pwd)
. "$SIM_DIR/lib/sim.sh"

usage() {
    sed -n '2,15p' "$0" | sed 's/^# \{0,1\}//'
    exit 2
}

[ $# -ge 2 ] || usage
cmd=$1
shift
case $cmd in
    mkroot)
        [ $# -eq 3 ] || usage
        sim_mkroot "$1" "$2" "$3"
        ;;
    start)
        root=$1
        shift
        reason=$(sim_sandbox_unavailable_reason) && sim_die "no sandbox: $reason"
        sim_session_start "$root" /usr/bin/telem_json "$@"
        sim_say "telem_json started in $root (speed x${SIM_SPEED:-1}); output: $root/.sim/session.out"
        ;;
    exec)
        root=$1
        shift
        [ $# -ge 1 ] || usage
        reason=$(sim_sandbox_unavailable_reason) && sim_die "no sandbox: $reason"
        sim_exec "$root" "$@"
        ;;
    ps)
        for p in $(sim_procs_in_root "$1"); do
            printf '%7s %s\n' "$p" "$(tr '\0' ' ' <"/proc/$p/cmdline" 2>/dev/null)"
        done
        ;;
    stop)
        sim_session_stop "$1"
        ;;
    destroy)
        sim_destroy "$1"
        ;;
    *) usage ;;
esac
