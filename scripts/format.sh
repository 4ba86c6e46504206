#!/usr/bin/env bash
# Formats every C++ file of the project, or with --check only names those that are not formatted (exit 1).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tool=$(command -v clang-format-14) || { echo "format: clang-format-14 is missing: run scripts/setup.sh" >&2; exit 2; }
folders=()
for folder in src tests examples apps plugins benchmarks fuzz; do
  [ -d "$folder" ] && folders+=("$folder")
done

case "${1:-}" in
  "") mode=(-i) ;;
  --check) mode=(--dry-run -Werror) ;;
  *) echo "usage: scripts/format.sh [--check]" >&2; exit 2 ;;
esac
find "${folders[@]}" \( -name '*.h' -o -name '*.cpp' \) -print0 | xargs -0 -r "$tool" "${mode[@]}"
