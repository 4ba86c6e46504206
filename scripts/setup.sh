#!/usr/bin/env bash
# Installs the Debian packages that building and testing needs and that are missing; does nothing when all are there.
# Usage: scripts/setup.sh [--benchmarks] [--fuzz] [--tidy] [--pictures]   each flag adds the packages of that job
set -euo pipefail

packages=(
  g++ cmake ninja-build ccache pkg-config python3 git                # build
  libboost-dev libboost-serialization-dev libeigen3-dev zlib1g-dev libmurmurhash-dev rapidjson-dev libexpat1-dev libcli11-dev libmuparser-dev   # libraries
  libgtest-dev libgmock-dev libbenchmark-dev clang-format-14 gdb     # tests
)
for argument in "$@"; do
  case "$argument" in
    --benchmarks) packages+=(libglib2.0-dev qtbase5-dev libsigc++-2.0-dev) ;;   # peers measured beside ours
    --fuzz) packages+=(clang-14 libclang-rt-14-dev) ;;
    --tidy) packages+=(clang-tidy-14) ;;
    --pictures) packages+=(graphviz) ;;
    *) echo "setup: unknown argument '$argument' (known: --benchmarks --fuzz --tidy --pictures)" >&2; exit 2 ;;
  esac
done

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
  echo "setup: this is no Debian system; install the counterparts of these packages yourself:" >&2
  echo "  ${packages[*]}" >&2
  exit 1
fi

missing=()
for package in "${packages[@]}"; do
  state=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$state" = "install ok installed" ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#packages[@]} packages are installed"
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup: these packages are missing, and installing them needs root or sudo. As root, run:" >&2
    echo "  apt-get update && apt-get install ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
  [ -t 0 ] || as_root=(sudo -n)   # no terminal for a password: fail immediately
fi

echo "setup: installing ${missing[*]}"
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
echo "setup: done"
