#!/usr/bin/env bash
# Runs clang-tidy 14 over the sources of library and programs: those that differ from the main branch, the COUNT that
# were committed last, or all. Usage: scripts/tidy.sh [--all | --latest COUNT | files...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

./scripts/setup.sh --tidy
cmake --preset debug >/dev/null

case "${1:-}" in
  --all) mapfile -t files < <(git ls-files 'src/*.cpp' 'apps/*.cpp') ;;
  --latest)
    case "${2:-}" in
      *[!0-9]*|"") echo "usage: scripts/tidy.sh [--all | --latest COUNT | files...]" >&2; exit 2 ;;
    esac
    mapfile -t files < <(git log --format= --name-only -- 'src/*.cpp' 'apps/*.cpp' |
      awk -v count="$2" '!seen[$0]++ && system("test -e \"" $0 "\"") == 0 && ++found <= count') ;;
  "") mapfile -t files < <(git diff --name-only --diff-filter=d "$(git merge-base HEAD main)" -- {src,apps}/'*.'{cpp,h}) ;;
  *) files=("$@") ;;
esac
# A header is looked at through the source beside it.
sources=()
for file in "${files[@]}"; do
  source=${file%.h}
  source=${source%.cpp}.cpp
  [ -e "$source" ] && sources+=("$source")
done
if [ ${#sources[@]} -eq 0 ]; then
  echo "tidy: no changed sources"
  exit 0
fi
# The build's options are g++'s, some of which clang does not know.
printf '%s\0' "${sources[@]}" | sort -zu |
  xargs -0 -r -n 1 -P "$(nproc)" clang-tidy-14 -p build/debug --quiet --extra-arg=-Wno-unknown-warning-option
