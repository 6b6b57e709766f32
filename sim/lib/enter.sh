# enter.sh ROOT background|foreground COMMAND...
#
# First process of a simulated-router session, run by sim_unshare inside the new mount
# and PID namespaces (it is PID 1 there) and still seeing the host's file system. It
# makes the few mounts the router needs, all private to this namespace so they vanish
# with it, and changes into the router root, where /.sim/init takes over.
set -eu
root=$1
mode=$2
shift 2
# The router's process list (read by the ps and killall stand-ins): a proc of this PID
# namespace only. The router's own /proc holds fixture files instead.
mount -t proc -o nosuid,nodev,noexec proc "$root/.sim/proc"
# Character devices the router's programs write to or read from.
for d in null zero random urandom; do
    mount --bind "/dev/$d" "$root/dev/$d"
done
# A clean environment: init reads the session's variables from its env file.
exec chroot "$root" /bin/env -i /bin/sh /.sim/init "$mode" "$@"
