#!/bin/sh
# /.sim/init: PID 1 of the simulated router's namespace.
#
#   init background COMMAND...  start the router's services (the SOAP client) and
#                               COMMAND with its output appended to /.sim/session.out,
#                               then stay and reap orphans; the session ends when the
#                               host kills the namespace.
#   init foreground COMMAND...  run COMMAND attached to the caller's terminal and end
#                               with its status; whatever it left running dies with
#                               the namespace.
#
# With SIM_SPEED greater than 1 the daemon binary (telem_json) runs under libfaketime:
# its clocks (wall time and CLOCK_BOOTTIME alike) and its sleeps go SIM_SPEED times
# faster than real time. Every other program keeps the real clock.
mode=$1
shift
case $mode in
    background) . /.sim/session.env ;;
    foreground) . /.sim/exec.env ;;
esac
if [ -n "${SIM_SPEED:-}" ] && [ "$SIM_SPEED" != 1 ] && [ -f /usr/lib/faketime/libfaketime.so.1 ]; then
    export LD_PRELOAD=/usr/lib/faketime/libfaketime.so.1
    export FAKETIME="+0 x$SIM_SPEED" FAKETIME_ONLY_CMDS=telem_json FAKETIME_NO_CACHE=1
fi
case $mode in
    background)
        # The router's own services that run beside the agent.
        (unset LD_PRELOAD FAKETIME; exec /usr/sbin/soapc) >/dev/null 2>&1 </dev/null &
        "$@" >>/.sim/session.out 2>&1 </dev/null &
        unset LD_PRELOAD FAKETIME FAKETIME_ONLY_CMDS FAKETIME_NO_CACHE
        trap 'exit 0' TERM INT
        # Orphans (the daemon after it detaches, background jobs of its commands) are
        # re-parented to this process; each wait collects them.
        while :; do
            sleep 5 &
            wait
        done
        ;;
    foreground)
        "$@"
        exit $?
        ;;
esac
echo "init: unknown mode $mode" >&2
exit 2
