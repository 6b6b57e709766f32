#!/bin/sh
# collect.sh HOST PORT OUT_DIR CLIENT_ID WORK_DIR
#
# The cloud side of the simulated router: subscribes to every topic of the broker and
# saves each message it receives as OUT_DIR/NNNN.json (NNNN counts from 0001 in arrival
# order). A message is written to NNNN.json.part first and renamed when complete, so a
# reader never sees half a report. Runs until it is terminated.
set -u
host=$1 port=$2 out=$3 id=$4 work=$5
bb=$(command -v busybox) || { echo "collect: busybox is missing" >&2; exit 1; }
mkdir -p "$out" "$work"
fifo="$work/collector.fifo"
rm -f "$fifo"
mkfifo "$fifo"
# One line per message: payload length and payload in hexadecimal, so that reports of
# any content (newlines included) stay one line each.
mosquitto_sub -h "$host" -p "$port" -i "$id" -q 1 -t '#' -F '%l %x' >"$fifo" &
sub=$!
trap 'kill $sub 2>/dev/null; rm -f "$fifo"; exit 0' TERM INT HUP
n=0
for f in "$out"/[0-9]*.json; do
    b=${f##*/}
    case ${b%.json} in *[!0-9]*) continue ;; esac
    [ -f "$f" ] && n=$((n + 1))
done
while IFS=' ' read -r len hex; do
    n=$((n + 1))
    f=$(printf '%s/%04d.json' "$out" "$n")
    printf '%s' "$hex" | "$bb" xxd -r -p >"$f.part"
    mv -f "$f.part" "$f"
    echo "received $f ($len bytes)"
done <"$fifo"
wait $sub
rc=$?
rm -f "$fifo"
echo "collect: subscriber ended with status $rc"
exit $rc
