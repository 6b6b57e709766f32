#!/bin/sh
# The simulated router itself: generated roots for every scenario, the router's tools
# found before busybox's built-in applets, a process list of the router only, nothing
# written outside the root, and no process or mount left behind.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_procs_at_least() { [ "$(sim_procs_in_root "$T_ROOT" | wc -l)" -ge "$1" ]; }
for scenario in $(printf '%s\n' "$SIM_DIR"/scenarios/*/ | sed 's|/$||; s|.*/||' | grep -vx common); do
    root=$T_WORK/$scenario
    sim_mkroot "$BIN" "$scenario" "$root" >/dev/null || t_fail "mkroot $scenario"
    T_ROOT=$root
    for f in etc/nvram.txt etc/hw_version tmp/devices tmp/net_scan.log \
        tmp/media/persistent/router-analytics/RAE_Policy.json \
        opt/cache/system/device-info-table/knowndevices proc/meminfo usr/bin/telem_json \
        usr/bin/awsiotpub usr/bin/mcs_publish; do
        [ -e "$root/$f" ] || t_fail "$scenario: /$f missing"
    done
    grep -q '"reportMethod": "IoT"' "$root/tmp/media/persistent/router-analytics/RAE_Policy.json" ||
        t_fail "$scenario: policy does not publish through IoT"
    hw=$(head -n 1 "$root/etc/hw_version")
    [ "$(sim_nvram_get "$root" hwver)" = "$hw" ] || t_fail "$scenario: nvram hwver differs from /etc/hw_version"

    out=$(sim_exec "$root" sh -c '
        for t in ps ip killall ifconfig ping top arping iwconfig; do command -v $t; done
        [ -L /bin/sh ] && echo "sh-is-link"
        ps | sed -n 2p
        version | sed -n 2p | cut -d/ -f2
        burnsn 2>/dev/null; burnsn 2>&1 >/dev/null | wc -l
        echo inside >/tmp/written-inside
        echo "canary" >/etc/sandbox-canary
        cat /proc/meminfo | head -n 1
        telem_heartbeat & sleep 0.3; ps | grep -c "[t]elem_heartbeat"; killall telem_heartbeat; echo killall=$?
        echo done')
    rc=$?
    [ $rc -eq 0 ] || t_fail "$scenario: commands in the router failed ($rc): $out"
    expect_paths="/usr/bin/ps /sbin/ip /usr/bin/killall /sbin/ifconfig /usr/bin/ping /usr/bin/top /usr/sbin/arping /usr/sbin/iwconfig"
    got_paths=$(echo "$out" | head -n 8 | tr '\n' ' ')
    t_expect_eq "$scenario: tools found on PATH" "$got_paths" "$expect_paths "
    echo "$out" | grep -q sh-is-link && t_fail "$scenario: /bin/sh is a link (busybox)"
    echo "$out" | grep -q '^ *1 root .*/.sim/init' || t_fail "$scenario: PID 1 of the router is not /.sim/init: $out"
    echo "$out" | grep -qx 'V[0-9][0-9._]*' || t_fail "$scenario: version tool gives no firmware field: $out"
    echo "$out" | grep -q "^1$" || t_fail "$scenario: burnsn does not write one line to standard error"
    echo "$out" | grep -q "^MemTotal:" || t_fail "$scenario: /proc/meminfo fixture not seen"
    echo "$out" | grep -q "^killall=0$" || t_fail "$scenario: killall did not find telem_heartbeat: $out"
    [ "$(cat "$root/tmp/written-inside")" = inside ] || t_fail "$scenario: /tmp of the router is not in the root"
    [ -f "$root/etc/sandbox-canary" ] || t_fail "$scenario: /etc of the router is not in the root"
    [ -e /etc/sandbox-canary ] && t_fail "$scenario: the sandbox wrote the host's /etc"
    [ -z "$(sim_procs_in_root "$root")" ] || t_fail "$scenario: processes left after exec"
    [ -z "$(sim_mounts_in_root "$root")" ] || t_fail "$scenario: mounts visible on the host"
    grep -q '^telem_heartbeat' "$root/.sim/commands.log" || t_fail "$scenario: stand-ins do not record their command lines"

    # A background session ends completely when stopped.
    sim_session_start "$root" /bin/sh -c 'telem_heartbeat & telem_wifi & sleep 300'
    sim_wait 10 t_procs_at_least 3 || t_fail "$scenario: background session did not start"
    sim_session_stop "$root" || t_fail "$scenario: session did not stop"
    [ -z "$(sim_procs_in_root "$root")" ] || t_fail "$scenario: processes left after stop"
    sim_destroy "$root"
    [ -e "$root" ] && t_fail "$scenario: root not deleted"
    T_ROOT=""
done
t_pass "every scenario builds a router whose tools and files are its own"
