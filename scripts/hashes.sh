#!/usr/bin/env bash
# Builds krsim and the examples with clang and compares the hashes of their frames with those that the builds of g++
# compute (the test apps/krsim.hashes). With --renew the hashes are written again with the release build of g++, after a
# change that is meant to change values. Usage: scripts/hashes.sh [--renew]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

case "${1:-}" in
  "") ./scripts/setup.sh --fuzz; build=build/clang
      cmake --preset release -B "$build" -DCMAKE_CXX_COMPILER=clang++-14 -DKR_BUILD_TESTS=OFF -DKR_BUILD_BENCHMARKS=OFF ;;
  --renew) ./scripts/setup.sh; build=build/release
      cmake --preset release ;;
  *) echo "usage: scripts/hashes.sh [--renew]" >&2; exit 2 ;;
esac
cmake --build "$build" --target krsim DriveCycle Fleet
krsim=$(find "$build" -name krsim -type f -perm -u+x | head -1)
exec python3 tests/apps/krsim/hash_test.py "$krsim" "$build/examples/plugins" examples "$@"
