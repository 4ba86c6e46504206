#!/usr/bin/env bash
# Builds the demonstration program, optimised, and runs it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

./scripts/setup.sh
cmake --preset release
cmake --build --preset release --target data_tree
exec build/release/examples/data_tree
