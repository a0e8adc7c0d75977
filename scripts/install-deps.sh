#!/usr/bin/env bash
# Installs the Debian packages the project needs, skipping those already present.
# Usage: scripts/install-deps.sh [run|test]   (run: build and run the host; test: everything)
set -euo pipefail

packages=(cmake ninja-build g++ make nlohmann-json3-dev ccache)
if [ "${1:-test}" = test ]; then
  packages+=(clang-14 libclang-rt-14-dev libgtest-dev libgmock-dev googletest)
fi

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}" >&2
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
