#!/usr/bin/env bash
# Builds one fuzzer and runs it for some seconds from its seed corpus; without arguments it names the fuzzers.
# Inputs found on the way are kept in build/fuzz/corpus/<name>, those that fail in build/fuzz/failures.
# With "ndebug" it is built without assertions: what they catch in a debug build must do no harm in others.
# Usage: scripts/fuzz.sh <name> [seconds, default 60] [ndebug]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

name=${1:-}
if [ -z "$name" ] || [ ! -d "fuzz/corpus/$name" ]; then
  echo "usage: scripts/fuzz.sh <name> [seconds] [ndebug]; fuzzers:" >&2
  ls fuzz/corpus >&2
  exit 2
fi

./scripts/setup.sh --fuzz
build=build/fuzz
options=()
if [ "${3:-}" = ndebug ]; then
  build=build/fuzz_ndebug
  options=(-B "$build" "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g -DNDEBUG")
fi
cmake --preset fuzz "${options[@]}"
cmake --build "$build" --target "${name}_fuzzer"
found="build/fuzz/corpus/$name"
mkdir -p "$found" build/fuzz/failures
exec "$build/fuzz/${name}_fuzzer" "-max_total_time=${2:-60}" -rss_limit_mb=1024 -timeout=10 \
  -artifact_prefix=build/fuzz/failures/ "$found" "fuzz/corpus/$name"
