#!/usr/bin/env bash
# A process that ends while a thread of it is at work, and a child that ends after a fork, end as they should, many times.
#   exit_test.sh FRONT CARD_TOOL SCRIPTED_PINENTRY LIBRARY EXIT_HOST library|front
declare -A module_of=([library]=$4 [front]=$1)
host=$5
kind=$6
# shellcheck source-path=SCRIPTDIR/../clients
. "$(dirname "$0")/../clients/card.sh"

rounds=${ROUNDS:-2}
failed=0
for work in sign decrypt verify encrypt digest; do
    for end in fork exit return quick_exit handler; do
        for round in $(seq "$rounds"); do
            status=0
            timeout --signal=KILL 60 "$host" "$kind" "${module_of[$kind]}" $work $end 2>errors || status=$?
            if [ $status != 0 ]; then
                echo "$work, $end: ends with $status in round $round: $(tail -n 3 errors)"
                failed=1
                break
            fi
        done
    done
done
exit $failed
