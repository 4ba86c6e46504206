#!/usr/bin/env bash
# Reads recordings of krsim with readers of others, @mcap/core and protobufjs, which npm installs into build/readers.
# Wants node and npm. Usage: scripts/readers.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

for each in node npm; do
  command -v "$each" > /dev/null || { echo "readers: $each is not installed (apt install nodejs npm)" >&2; exit 2; }
done
./scripts/setup.sh
cmake --preset release
cmake --build build/release --target krsim DriveCycle kr_krsim_Actors
mkdir -p build/readers
cp tests/apps/krsim/readers/{package.json,package-lock.json,.npmrc} build/readers/
npm ci --prefix build/readers --ignore-scripts --no-audit --no-fund
KR_READERS=$PWD/build/readers exec python3 tests/apps/krsim/recording_test.py build/release/apps/krsim/krsim \
  build/release/examples/plugins examples/drive_cycle build/release/tests/apps/krsim/plugins
