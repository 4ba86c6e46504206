#!/usr/bin/env bash
# Builds the benchmarks with the release preset, measures the goals of benchmarks/goals.json and prints one table.
# Usage: scripts/bench.sh [--runs N] [filter]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

./scripts/setup.sh --benchmarks
cmake --preset release
cmake --build --preset release --target kr_benchmarks
exec python3 tools/bench_table.py --goals benchmarks/goals.json --programs build/release/benchmarks "$@"
