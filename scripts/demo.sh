#!/usr/bin/env bash
# Builds the demonstration programs, optimised, and runs them: a tree of fields, then events and the log.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

./scripts/setup.sh
cmake --preset release
cmake --build --preset release --target data_tree event_log
build/release/examples/data_tree
echo
build/release/examples/event_log
