#!/usr/bin/env bash
# Builds the library and the stress program under the thread sanitizer and runs it: two applications, and four threads
# that add, remove, log, observe and send. Any report ends it. Usage: scripts/stress.sh [seconds, default 60]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

seconds=${1:-60}
case "$seconds" in
  *[!0-9]*|"") echo "usage: scripts/stress.sh [seconds]" >&2; exit 2 ;;
esac

./scripts/setup.sh
cmake --preset tsan
cmake --build --preset tsan --target kr_stress
TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" exec build/tsan/tests/stress/kr_stress "$seconds"
