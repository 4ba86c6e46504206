#!/usr/bin/env bash
# Builds the demonstration programs, optimised, and runs them: a tree of fields, events and the log,
# content from a plug-in, connected extensions with a picture of their graph, then an electric car that
# drives the European cycle: as fast as it goes, or with --paced in real time. Options are those of that
# program.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

./scripts/setup.sh
cmake --preset release
cmake --build --preset release --target data_tree event_log content_tree signal_chain drive_cycle
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
