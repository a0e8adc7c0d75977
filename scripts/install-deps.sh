#!/usr/bin/env bash
# Installs the Debian packages the project needs, skipping those already present.
# Usage: scripts/install-deps.sh [run|test]   (run: build and run the host; test: everything)
set -euo pipefail

packages=(cmake ninja-build g++ make nlohmann-json3-dev libasio-dev)
if [ "${1:-test}" = test ]; then
  # python3-scapy plays an independent SOME/IP peer in the binding's tests, tshark their referee.
  packages+=(clang-14 libclang-rt-14-dev libgtest-dev libgmock-dev googletest python3-scapy tshark)
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
# tshark's package asks whether non-root users may capture; answer no before it is installed.
echo 'wireshark-common wireshark-common/install-setuid boolean false' | $sudo debconf-set-selections
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
