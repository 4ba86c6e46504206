#!/usr/bin/env bash
# Builds the demonstration programs, optimised, and runs them: a tree of fields, events and the log, then
# content from a plug-in.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

./scripts/setup.sh
cmake --preset release
cmake --build --preset release --target data_tree event_log content_tree
build/release/examples/data_tree
echo
build/release/examples/event_log
echo
build/release/examples/content_tree
