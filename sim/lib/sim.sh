# Shell library of the simulated router (host side). Sourced by sim/sandbox.sh,
# sim/demo.sh and the tests in tests/sim; POSIX sh.
#
# Before sourcing, set SIM_DIR to the sim/ directory of the source tree.
#
# A simulated router is a directory (the "root") generated from a scenario
# (sim_mkroot). A session runs a program inside it: a private mount and PID namespace
# (unprivileged: also a user namespace) and a chroot into the root, so that the program
# sees the router's absolute paths and nothing it writes lands outside the root. The
# namespace's first process is /.sim/init; killing the `unshare` process that holds the
# namespace kills every process inside it, so a session never leaves anything behind.

SIM_LIB="$SIM_DIR/lib"

sim_say() { printf '[sim] %s\n' "$*"; }
sim_die() {
    printf '[sim] ERROR: %s\n' "$*" >&2
    exit 1
}

# --- capabilities ---------------------------------------------------------------------

# Prints why a sandbox cannot be made here and returns 1, or returns 0.
sim_sandbox_unavailable_reason() {
    for t in unshare chroot mount; do
        command -v "$t" >/dev/null 2>&1 || {
            echo "the '$t' command is missing"
            return 0
        }
    done
    if [ "$(id -u)" = 0 ]; then
        unshare --mount --pid --fork --propagation private true 2>/dev/null && return 1
        echo "unshare of mount and PID namespaces fails even as root"
        return 0
    fi
    unshare --user --map-root-user --mount --pid --fork true 2>/dev/null && return 1
    echo "not root and this kernel does not allow unprivileged user namespaces"
    return 0
}

# unshare with the namespaces of a session; the child is killed when unshare dies.
# It replaces the calling shell: call it in a subshell, ( sim_unshare ... ), so that a
# background job's $! is unshare itself.
sim_unshare() {
    if [ "$(id -u)" = 0 ]; then
        exec unshare --mount --pid --fork --kill-child --propagation private "$@"
    else
        exec unshare --user --map-root-user --mount --pid --fork --kill-child --propagation private "$@"
    fi
}

# --- root ---------------------------------------------------------------------------------

# sim_mkroot BIN_DIR SCENARIO ROOT: generate a router root (see sim/mkroot.sh).
sim_mkroot() {
    sh "$SIM_DIR/mkroot.sh" "$1" "$2" "$3"
}

# Processes whose root directory is ROOT or below (host PIDs, one per line).
sim_procs_in_root() {
    for p in /proc/[0-9]*; do
        r=$(readlink "$p/root" 2>/dev/null) || continue
        case $r in
            "$1" | "$1"/*) echo "${p#/proc/}" ;;
        esac
    done
}

# Mount points at or below ROOT in this mount namespace, deepest first.
sim_mounts_in_root() {
    awk -v r="$1" '$5 == r || index($5, r "/") == 1 { print $5 }' /proc/self/mountinfo | sort -r
}

# sim_destroy ROOT: stop every session on ROOT, unmount what might be mounted there
# (never follow a mount while deleting), then delete the tree.
sim_destroy() {
    [ -n "$1" ] && [ -d "$1" ] || return 0
    [ -f "$1/.sim/root-marker" ] || sim_die "refusing to delete $1: not a generated router root"
    sim_session_stop "$1"
    for m in $(sim_mounts_in_root "$1"); do umount -l "$m" 2>/dev/null; done
    [ -z "$(sim_mounts_in_root "$1")" ] || sim_die "mounts remain under $1"
    rm -rf --one-file-system "$1"
}

# --- sessions ---------------------------------------------------------------------------------

# The variables handed into the sandbox, as shell assignments (everything else is
# cleared on the way in).
sim_quote() { printf "'%s'" "$(printf '%s' "$1" | sed "s/'/'\\\\''/g")"; }
sim_session_env() {
    echo "export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root TERM=$(sim_quote "${TERM:-dumb}")"
    echo "export SIM_SPEED=$(sim_quote "${SIM_SPEED:-1}")"
    for v in AWSIOTPUB_HOST AWSIOTPUB_PORT AWSIOTPUB_TIMEOUT AWSIOTPUB_CAFILE AWSIOTPUB_CERTFILE \
        AWSIOTPUB_KEYFILE AWSIOTPUB_USERNAME AWSIOTPUB_PASSWORD TZ; do
        eval "val=\${$v-}"
        [ -n "$val" ] && echo "export $v=$(sim_quote "$val")"
    done
    return 0
}

# sim_session_start ROOT COMMAND...: run COMMAND in the background inside the router
# (its output goes to ROOT/.sim/session.out). SIM_SPEED=N (N > 1) runs the daemon
# binary telem_json with a clock N times faster than real time.
sim_session_start() {
    root=$1
    shift
    [ -f "$root/.sim/root-marker" ] || sim_die "$root is not a generated router root"
    if [ -f "$root/.sim/session.pid" ] && kill -0 "$(cat "$root/.sim/session.pid")" 2>/dev/null; then
        sim_die "a session is already running on $root"
    fi
    sim_session_env >"$root/.sim/session.env"
    : >"$root/.sim/session.out"
    # Errors of the namespace set-up itself (before the chroot) land in session.err.
    (sim_unshare /bin/sh "$SIM_LIB/enter.sh" "$root" background "$@") </dev/null \
        >"$root/.sim/session.err" 2>&1 &
    echo $! >"$root/.sim/session.pid"
}

# sim_exec ROOT COMMAND...: run COMMAND in a fresh sandbox on ROOT in the foreground,
# with its standard input, output and error; returns its exit status. When it ends,
# every process it left behind is killed with its namespace.
sim_exec() {
    root=$1
    shift
    [ -f "$root/.sim/root-marker" ] || sim_die "$root is not a generated router root"
    sim_session_env >"$root/.sim/exec.env"
    (sim_unshare /bin/sh "$SIM_LIB/enter.sh" "$root" foreground "$@")
}

# sim_session_stop ROOT: kill the background session and wait until no process runs in
# the root any more (at most 10 s).
sim_session_stop() {
    root=$1
    if [ -f "$root/.sim/session.pid" ]; then
        kill -KILL "$(cat "$root/.sim/session.pid")" 2>/dev/null
        rm -f "$root/.sim/session.pid"
    fi
    # Normally the namespace is gone at once; anything still running in the root after
    # 5 s (a process that escaped the namespace) is killed by its host PID.
    i=0
    while [ -n "$(sim_procs_in_root "$root")" ]; do
        i=$((i + 1))
        # shellcheck disable=SC2046 # one PID a word
        [ $i -eq 50 ] && kill -KILL $(sim_procs_in_root "$root") 2>/dev/null
        if [ $i -gt 100 ]; then
            sim_say "processes still running in $root: $(sim_procs_in_root "$root" | tr '\n' ' ')"
            return 1
        fi
        sleep 0.1
    done
    return 0
}

sim_session_running() {
    [ -f "$1/.sim/session.pid" ] && kill -0 "$(cat "$1/.sim/session.pid")" 2>/dev/null
}

# --- nvram and files seen from the host ---------------------------------------------------------

# sim_nvram_set ROOT KEY VALUE: change the router's nvram file the way the router does
# (rewrite + rename under the lock), so that a running daemon sees it.
sim_nvram_set() {
    f="$1/etc/nvram.txt"
    (
        flock 9
        awk -v k="$2" -v v="$3" '
            BEGIN { done = 0 }
            index($0, k "=") == 1 { if (!done) print k "=" v; done = 1; next }
            { print }
            END { if (!done) print k "=" v }' "$f" >"$f.sim.$$" && mv -f "$f.sim.$$" "$f"
    ) 9>"$f.lock"
}

sim_nvram_unset() {
    f="$1/etc/nvram.txt"
    (
        flock 9
        awk -v k="$2" 'index($0, k "=") != 1 { print }' "$f" >"$f.sim.$$" && mv -f "$f.sim.$$" "$f"
    ) 9>"$f.lock"
}

sim_nvram_get() {
    awk -v k="$2" 'index($0, k "=") == 1 { print substr($0, length(k) + 2); exit }' "$1/etc/nvram.txt"
}

# --- MQTT broker and collector --------------------------------------------------------------

# sim_tls_certs DIR: make, with openssl, a certificate authority (DIR/ca.crt), the
# broker's certificate for 127.0.0.1 (DIR/server.crt, server.key) and a client
# certificate (DIR/client.crt, client.key) signed by it; and for failure tests a second,
# unrelated authority (DIR/wrong-ca.crt) and a client certificate that expired in 2020
# (DIR/expired.crt, its key DIR/client.key).
sim_tls_certs() {
    d=$1
    mkdir -p "$d"
    (
        cd "$d" || exit 1
        key() { openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:prime256v1 -out "$1" 2>/dev/null; }
        ca() { # NAME SUBJECT
            key "$1.key" && openssl req -x509 -new -key "$1.key" -subj "$2" -days 30 -out "$1.crt" 2>/dev/null
        }
        sign() { # NAME KEY SUBJECT EXTENSIONS [openssl prefix...]
            n=$1 k=$2 subj=$3 ext=$4
            shift 4
            openssl req -new -key "$k" -subj "$subj" -out "$n.csr" 2>/dev/null &&
                printf '%s\n' "$ext" >"$n.ext" &&
                "$@" openssl x509 -req -in "$n.csr" -CA ca.crt -CAkey ca.key -CAcreateserial \
                    -days 2 -extfile "$n.ext" -out "$n.crt" 2>/dev/null
        }
        ca ca "/CN=telem-sim test CA" &&
            ca wrong-ca "/CN=some other CA" &&
            key server.key && key client.key &&
            sign server server.key "/CN=127.0.0.1" "subjectAltName=IP:127.0.0.1,DNS:localhost" &&
            sign client client.key "/CN=telem-sim router" "extendedKeyUsage=clientAuth" &&
            sign expired client.key "/CN=telem-sim router" "extendedKeyUsage=clientAuth" \
                faketime "2020-01-01 00:00:00"
    ) || sim_die "could not make the TLS certificates in $d (openssl and faketime are needed)"
    chmod 644 "$d"/*.key
}

# sim_broker_start DIR [PORT]: start a mosquitto bound to 127.0.0.1 with its
# configuration and log in DIR (no persistence). Without PORT a free port is chosen.
# Sets SIM_BROKER_PORT and SIM_BROKER_PID. With SIM_BROKER_TLS_DIR set (certificates
# made by sim_tls_certs) the broker also listens with TLS on SIM_BROKER_TLS_PORT (the
# next port) and requires a client certificate there.
sim_broker_start() {
    dir=$1
    want=${2:-}
    command -v mosquitto >/dev/null 2>&1 || sim_die "mosquitto is not installed (make deps)"
    mkdir -p "$dir"
    tries=0
    while :; do
        tries=$((tries + 1))
        [ $tries -le 20 ] || sim_die "could not start mosquitto on a free loopback port"
        # Spread by time, process and attempt, so that parallel tests pick different ports.
        if [ -n "$want" ]; then port=$want; else port=$((20000 + ($(date +%s%N | cut -c7-15 | sed "s/^0*//;s/^$/0/") + $$ * 7919 + tries * 104729) % 40000)); fi
        cat >"$dir/mosquitto.conf" <<EOF
# Broker of the simulated router's cloud side: loopback only, nothing kept on disk.
listener $port 127.0.0.1
allow_anonymous true
persistence false
user $(id -un)
log_dest file $dir/broker.log
log_type error
log_type warning
log_type notice
log_type information
log_type subscribe
connection_messages true
EOF
        if [ -n "${SIM_BROKER_TLS_DIR:-}" ]; then
            cat >>"$dir/mosquitto.conf" <<EOF
# Mutual TLS, as the cloud's IoT endpoint: the client must show a certificate of our CA.
listener $((port + 1)) 127.0.0.1
cafile $SIM_BROKER_TLS_DIR/ca.crt
certfile $SIM_BROKER_TLS_DIR/server.crt
keyfile $SIM_BROKER_TLS_DIR/server.key
require_certificate true
EOF
        fi
        : >"$dir/broker.log"
        mosquitto -c "$dir/mosquitto.conf" >>"$dir/broker.out" 2>&1 &
        SIM_BROKER_PID=$!
        i=0
        while [ $i -lt 50 ]; do
            if grep -q " running" "$dir/broker.log" 2>/dev/null; then
                SIM_BROKER_PORT=$port
                # shellcheck disable=SC2034 # for the caller
                SIM_BROKER_TLS_PORT=$((port + 1))
                return 0
            fi
            kill -0 "$SIM_BROKER_PID" 2>/dev/null || break
            sleep 0.1
            i=$((i + 1))
        done
        kill "$SIM_BROKER_PID" 2>/dev/null
        wait "$SIM_BROKER_PID" 2>/dev/null
        [ -z "$want" ] || sleep 0.5
    done
}

sim_broker_stop() {
    if [ -n "${SIM_BROKER_PID:-}" ]; then
        kill "$SIM_BROKER_PID" 2>/dev/null
        wait "$SIM_BROKER_PID" 2>/dev/null
        SIM_BROKER_PID=
    fi
}

# sim_collector_start DIR OUT_DIR: subscribe to every topic of the broker started with
# sim_broker_start (whose files are in DIR) and save each message as OUT_DIR/NNNN.json
# in arrival order. Returns once the subscription is in place. Sets SIM_COLLECTOR_PID.
sim_collector_start() {
    dir=$1
    mkdir -p "$2"
    id="sim-collector-$$"
    sh "$SIM_DIR/collect.sh" 127.0.0.1 "$SIM_BROKER_PORT" "$2" "$id" "$dir" >>"$dir/collector.log" 2>&1 &
    SIM_COLLECTOR_PID=$!
    i=0
    while [ $i -lt 100 ]; do
        grep -q " $id 1 #" "$dir/broker.log" 2>/dev/null && return 0
        sleep 0.1
        i=$((i + 1))
    done
    sim_die "the collector did not subscribe (see $dir/collector.log and $dir/broker.log)"
}

sim_collector_stop() {
    if [ -n "${SIM_COLLECTOR_PID:-}" ]; then
        kill "$SIM_COLLECTOR_PID" 2>/dev/null
        wait "$SIM_COLLECTOR_PID" 2>/dev/null
        SIM_COLLECTOR_PID=
    fi
}

# sim_received_reports DIR: the messages the collector saved in DIR (DIR/NNNN.json),
# one path a line, in arrival order.
sim_received_reports() {
    for f in "$1"/[0-9]*.json; do
        n=${f##*/}
        case ${n%.json} in *[!0-9]*) continue ;; esac
        [ -f "$f" ] && echo "$f"
    done
    return 0
}

# --- waiting ----------------------------------------------------------------------------------

# sim_wait SECONDS COMMAND...: run COMMAND every 0.2 s until it succeeds; 1 when
# SECONDS have passed without success.
sim_wait() {
    deadline=$(($(date +%s) + $1))
    shift
    while ! "$@"; do
        [ "$(date +%s)" -lt "$deadline" ] || return 1
        sleep 0.2
    done
    return 0
}
