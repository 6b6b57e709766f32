#!/bin/sh
# The publisher over mutual TLS, as it talks to the cloud's IoT endpoint: a broker whose
# TLS listener requires a client certificate (all certificates made here with openssl).
# awsiotpub delivers with AWSIOTPUB_CAFILE/CERTFILE/KEYFILE; a wrong CA, an expired
# client certificate, a missing key and no client certificate each give one clear
# ERROR line and a non-zero exit status. Then the daemon in the simulated router
# publishes through the same listener: with the wrong CA its upload fails and is
# retried by its retry rules; once the right CA is in place the retry goes through.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require mosquitto mosquitto_sub busybox jq openssl faketime
pub=$BIN/awsiotpub
[ -x "$pub" ] || t_fail "$pub was not built (libmosquitto-dev missing?)"
certs=$T_WORK/certs
sim_tls_certs "$certs"
# shellcheck disable=SC2034 # read by sim_broker_start
SIM_BROKER_TLS_DIR=$certs
t_broker_and_collector
tls_port=$SIM_BROKER_TLS_PORT
grep -q "Opening ipv4 listen socket on port $tls_port" "$T_WORK/broker/broker.log" ||
    t_fail "the broker has no TLS listener on port $tls_port"

# A user option report as the daemon writes it.
cp "$SRC/tests/golden/router_hardware_ra_unset.json" "$T_WORK/report.json"

# publish LOG [VAR=VALUE...]: awsiotpub to the TLS listener with the good certificates,
# changed by the assignments; its exit status in $rc.
publish() {
    log=$1
    shift
    env AWSIOTPUB_PORT="$tls_port" AWSIOTPUB_TIMEOUT=5 AWSIOTPUB_CAFILE="$certs/ca.crt" \
        AWSIOTPUB_CERTFILE="$certs/client.crt" AWSIOTPUB_KEYFILE="$certs/client.key" "$@" \
        "$pub" -i 94A67E102030 -f "$T_WORK/report.json" -t analytics/ -o 1 >"$T_WORK/$log.log" 2>"$T_WORK/$log.err"
    rc=$?
}

# expect_error LOG WHAT TEXT: the run failed with exactly one ERROR line, naming TEXT.
expect_error() {
    [ $rc -ne 0 ] || t_fail "$2: exit status 0"
    n=$(grep -c ERROR "$T_WORK/$1.log")
    [ "$n" -eq 1 ] || { cat "$T_WORK/$1.log"; t_fail "$2: $n ERROR lines, expected one"; }
    grep ERROR "$T_WORK/$1.log" | grep -qF -- "$3" || { cat "$T_WORK/$1.log"; t_fail "$2: the ERROR line does not say '$3'"; }
    grep -q "Publish done" "$T_WORK/$1.log" && t_fail "$2: 'Publish done' printed"
    t_log "$2: $(grep ERROR "$T_WORK/$1.log")"
}

publish good
[ $rc -eq 0 ] && grep -q "Publish done" "$T_WORK/good.log" || { cat "$T_WORK/good.log"; t_fail "no 'Publish done' over TLS"; }
sim_wait 10 test -f "$T_REPORTS/0001.json" || t_fail "the report sent over TLS did not arrive"
cmp -s "$T_REPORTS/0001.json" "$T_WORK/report.json" || t_fail "the report arrived changed"
grep -q "New client connected from .* as 94A67E102030" "$T_WORK/broker/broker.log" ||
    t_fail "the broker did not log the TLS client"

publish wrong_ca AWSIOTPUB_CAFILE="$certs/wrong-ca.crt"
expect_error wrong_ca "wrong CA" "TLS"
publish expired AWSIOTPUB_CERTFILE="$certs/expired.crt"
expect_error expired "expired client certificate" "TLS"
publish no_key AWSIOTPUB_KEYFILE="$T_WORK/missing.key"
expect_error no_key "missing key file" "AWSIOTPUB_KEYFILE $T_WORK/missing.key cannot be read"
publish unset_key AWSIOTPUB_KEYFILE=
expect_error unset_key "key not given" "AWSIOTPUB_CERTFILE is set without AWSIOTPUB_KEYFILE"
publish no_client_cert AWSIOTPUB_CERTFILE= AWSIOTPUB_KEYFILE=
expect_error no_client_cert "no client certificate" "TLS"
publish plain AWSIOTPUB_CAFILE= AWSIOTPUB_CERTFILE= AWSIOTPUB_KEYFILE=
[ $rc -ne 0 ] && grep -q ERROR "$T_WORK/plain.log" || t_fail "plain MQTT accepted by the TLS listener"
sleep 1
[ -f "$T_REPORTS/0002.json" ] && t_fail "a failed publish reached the subscriber"

# The daemon: the router keeps its certificates in /etc/telem_tls; the first upload
# fails on the wrong CA, is retried, and goes through once the right CA is installed.
t_require_sandbox
t_mkroot vre650
mkdir -p "$T_ROOT/etc/telem_tls"
cp "$certs/client.crt" "$certs/client.key" "$T_ROOT/etc/telem_tls/"
cp "$certs/wrong-ca.crt" "$T_ROOT/etc/telem_tls/ca.crt"
AWSIOTPUB_PORT=$tls_port AWSIOTPUB_TIMEOUT=5 AWSIOTPUB_CAFILE=/etc/telem_tls/ca.crt
AWSIOTPUB_CERTFILE=/etc/telem_tls/client.crt AWSIOTPUB_KEYFILE=/etc/telem_tls/client.key
export AWSIOTPUB_PORT AWSIOTPUB_TIMEOUT AWSIOTPUB_CAFILE AWSIOTPUB_CERTFILE AWSIOTPUB_KEYFILE
t_start_daemon
t_wait 40 t_out_has "awsiot Publish failed" || t_fail "no failed upload with the wrong CA"
t_has_report_of_type 1 && t_fail "a report went through with the wrong CA"
cp "$certs/ca.crt" "$T_ROOT/etc/telem_tls/ca.crt"
t_wait 40 t_has_report_of_type 1 || t_fail "the retried routine report did not arrive over TLS"
t_out_has "awsiot Publish success" || t_fail "the daemon did not log the successful retry"
t_pass "awsiotpub over mutual TLS; each TLS failure gives one ERROR line; the daemon retries"
