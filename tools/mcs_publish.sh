#!/bin/sh
# mcs_publish -g <event type code> -f <log file>
#
# Stand-in for the router's MCS publisher, for development and the simulated router.
# The agent names only the event type and the log file; the report is the agent's
# per-type file /tmp/telem_json_dir/telem_<hw>_<code>.json (<hw> = first line of
# /etc/hw_version), or every file of /tmp/telem_wifi_json_dir for code 3.
#
# The report is delivered with awsiotpub (same broker settings, topic "mcs/<code>") and
# the outcome written to the log in the MCS publisher's protocol: the agent counts the
# upload as failed when a line contains "X-Error" or "Couldn't resolve", and as done
# otherwise.
code="" log=""
while [ $# -gt 0 ]; do
    case $1 in
        -g) code=${2:-}; shift ;;
        -f) log=${2:-}; shift ;;
    esac
    shift
done
[ -n "$log" ] || log=/dev/stdout
{
    case $code in
        '' | *[!0-9]*)
            echo "X-Error: invalid event type code '$code'"
            exit 1
            ;;
    esac
    hw=$(head -n 1 /etc/hw_version 2>/dev/null)
    if [ "$code" = 3 ]; then
        set -- -e 1 -d /tmp/telem_wifi_json_dir
    else
        set -- -f "/tmp/telem_json_dir/telem_${hw}_${code}.json"
    fi
    pub=$(command -v awsiotpub) || {
        echo "* Couldn't resolve host 'mcs' (no awsiotpub to deliver with)"
        exit 1
    }
    echo "> POST /mcs/upload?group=$code HTTP/1.1"
    out=$("$pub" -i "mcs-$hw" "$@" -t "mcs/$code" -o 1 2>&1)
    printf '%s\n' "$out" | sed 's/^/* /'
    case $out in
        *"Publish done"*) echo "< HTTP/1.1 200 OK" ;;
        *) echo "< X-Error: upload of group $code failed" ;;
    esac
} >"$log"
