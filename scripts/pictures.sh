#!/usr/bin/env bash
# Renders docs/pictures/*.dot as SVG. Each picture notes the checksum of its source, which tools/check_docs.py compares.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

./scripts/setup.sh --pictures
for source in docs/pictures/*.dot; do
  picture=${source%.dot}.svg
  dot -Tsvg "$source" -o "$picture"
  echo "<!-- of $(sha256sum <"$source" | cut -d' ' -f1) -->" >>"$picture"
done
