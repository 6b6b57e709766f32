# Helpers shared by the stand-ins of the router's tools (installed as /.sim/tools.sh).
#
# Every stand-in records its command line in /.sim/commands.log and answers from the
# scenario's files in /.sim/answers (see sim/README.md).
SIM_ANSWERS=/.sim/answers
SIM_PROC=/.sim/proc

sim_record() { # the tool's command line, for whoever debugs or tests the router
    printf '%s\n' "${0##*/} $*" >>/.sim/commands.log 2>/dev/null
    return 0
}

sim_answer() { # FILE: print the scenario's answer; 1 when the scenario has none
    [ -f "$SIM_ANSWERS/$1" ] || return 1
    cat "$SIM_ANSWERS/$1"
}

# key=value lookup in an answer file ("#" lines are comments)
sim_answer_value() { # FILE KEY
    [ -f "$SIM_ANSWERS/$1" ] || return 1
    awk -v k="$2" 'index($0, k "=") == 1 { print substr($0, length(k) + 2); found = 1; exit }
        END { exit !found }' "$SIM_ANSWERS/$1"
}

# The processes of the router, one line each: PID, state, command line.
sim_processes() {
    for pid in $(printf '%s\n' "$SIM_PROC"/[0-9]* | sed 's|.*/||' | grep -x '[0-9][0-9]*' | sort -n); do
        d=$SIM_PROC/$pid
        [ -r "$d/cmdline" ] || continue
        cmd=$(tr '\0' ' ' <"$d/cmdline" 2>/dev/null)
        [ -n "$cmd" ] || cmd="[$(cat "$d/comm" 2>/dev/null)]"
        state=$(sed 's/.*) //' "$d/stat" 2>/dev/null | cut -d' ' -f1)
        printf '%s %s %s\n' "$pid" "${state:-S}" "${cmd% }"
    done
}
