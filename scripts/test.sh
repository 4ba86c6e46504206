#!/usr/bin/env bash
# Builds everything and runs all tests. Usage: scripts/test.sh [debug|release|asan|tsan]   (default: debug)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=${1:-debug}
case "$preset" in
  debug|release|asan|tsan) ;;
  *) echo "usage: scripts/test.sh [debug|release|asan|tsan]" >&2; exit 2 ;;
esac

./scripts/setup.sh
cmake --preset "$preset"
targets=(all)
case "$preset" in
  debug|release) targets+=(all_verify_interface_header_sets) ;;   # a test asks for it; building it here uses all cores
esac
cmake --build --preset "$preset" --target "${targets[@]}"
exec ctest --preset "$preset"
