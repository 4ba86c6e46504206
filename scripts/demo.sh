#!/usr/bin/env bash
# Builds the demonstration programs, optimised, and runs them: a tree of fields, events and the log,
# content from a plug-in, connected extensions with a picture of their graph, then an electric car that
# drives the European cycle: as fast as possible, or with --paced in real time. Options are those of that
# program. At the end the car drives once more, from files: the run is recorded, and its second half
# repeated exactly from a state that was saved in the middle.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

./scripts/setup.sh
cmake --preset release
cmake --build --preset release --target data_tree event_log content_tree signal_chain drive_cycle krsim
build/release/examples/data_tree
echo
build/release/examples/event_log
echo
build/release/examples/content_tree
echo
build/release/examples/signal_chain
picture=build/release/examples/signal_chain
if command -v dot >/dev/null; then   # of Graphviz, which nothing else needs
  dot -Tsvg "$picture.dot" -o "$picture.svg"
  echo "  and in $picture.svg"
fi
echo
build/release/examples/drive_cycle "$@"
echo
krsim=build/release/apps/krsim/krsim
setup=examples/drive_cycle/setup.xml
results=build/release/examples/results
mkdir -p "$results"
log=(--log-level warn --log-file "$results/log_")
echo "$setup:"
"$krsim" info "$setup" examples/drive_cycle/car.xml
"$krsim" run "$setup" --seconds 1180 --record "$results/car.csv" --record-period 1 --save-state "$results/end" "${log[@]}"
"$krsim" run "$setup" --seconds 590 --save-state "$results/middle.xml" --quiet "${log[@]}"
"$krsim" run "$setup" --restore-state "$results/middle.xml" --seconds 590 --save-state "$results/end_again" --quiet \
  "${log[@]}"
# The real time that a run has taken is another one each time.
"$krsim" diff "$results/end" "$results/end_again" --ignore "*/ElapsedSeconds" --ignore "*/SecondsSince*"
echo "  the second half, from the state saved in the middle, ended with every value the same"
echo "  recorded in $results/car.csv: $(wc -l < "$results/car.csv") lines, the last one"
tail -n 1 "$results/car.csv" | cut -c 1-100
