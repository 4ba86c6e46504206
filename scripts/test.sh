#!/usr/bin/env bash
# Builds everything and runs all tests, or those of some layers only.
# Usage: scripts/test.sh [debug|release|asan|tsan] [layer...]   (default: debug; layers as in tests/, "events/errors")
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=${1:-debug}
shift || true
case "$preset" in
  debug|release|asan|tsan) ;;
  *) echo "usage: scripts/test.sh [debug|release|asan|tsan] [layer...]" >&2; exit 2 ;;
esac
for layer in "$@"; do
  [ -d "tests/$layer" ] || { echo "test: there are no tests of a layer '$layer' (tests/$layer)" >&2; exit 2; }
done

./scripts/setup.sh
cmake --preset "$preset"
filter=()
if [ $# -gt 0 ]; then
  targets=("${@//\//_}")
  targets=("${targets[@]/#/kr_}")
  targets=("${targets[@]/%/_tests}")
  filter=(-R "^($(IFS='|'; echo "$*"))\.")
else
  targets=(all)
  case "$preset" in
    debug|release) targets+=(all_verify_interface_header_sets) ;;   # a test needs it; building it here uses all cores
  esac
fi
cmake --build --preset "$preset" --target "${targets[@]}"
exec ctest --preset "$preset" "${filter[@]}"
