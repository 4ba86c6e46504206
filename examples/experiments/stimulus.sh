#!/usr/bin/env bash
# What happens when the car is loaded while it drives: stimulus.sh KRSIM PLUGINS RESULTS
# load.csv raises the mass from 1.5 t to 1.9 t after the first part of the cycle; mass and speed are recorded.
set -euo pipefail
krsim=$1 plugins=$2 results=$3
here="$(dirname "${BASH_SOURCE[0]}")"
mkdir -p "$results"
"$krsim" run "$here/../drive_cycle/setup.xml" --plugins "$plugins" --free --seconds 400 --no-log-file --log-level error \
  --quiet --play "$here/load.csv" --record "$results/loaded.csv" --record-period 50 --force \
  --record-field Vehicle.Mass --record-field Vehicle.Speed --record-units
cat "$results/loaded.csv"
