#!/bin/sh
# get_fingRA_data.sh QUERY: the device-identification engine's query counters
# (/.sim/answers/fing, QUERY=value lines).
. /.sim/tools.sh
sim_record "$@"
sim_answer_value fing "${1:-}" || echo 0
