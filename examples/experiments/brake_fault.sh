#!/usr/bin/env bash
# Whether the driver keeps to the cycle when the brake fails at 400 s: brake_fault.sh KRSIM PLUGINS RESULTS
# The car without the fault passes the check; with it, krsim tells the first frame in which the check fails.
set -euo pipefail
krsim=$1 plugins=$2 results=$3
setup="$(dirname "${BASH_SOURCE[0]}")/../drive_cycle/setup.xml"
mkdir -p "$results"
run=("$krsim" run "$setup" --plugins "$plugins" --free --seconds 1180 --no-log-file --log-level error
     --check "abs(Driver.Deviation) < 10 cm")

"${run[@]}" >"$results/sound.txt"
echo "sound brake: the check holds"

code=0
"${run[@]}" --override "Electric Drive.Brake Force=force 0 N from 400 s" >"$results/fault.txt" || code=$?
if [ "$code" -ne 1 ]; then
  echo "the check did not find the fault (exit code $code)" >&2
  exit 1
fi
grep -A1 "failed checks" "$results/fault.txt"
