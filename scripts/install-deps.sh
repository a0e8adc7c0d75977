#!/usr/bin/env bash
# Installs the Debian packages the project needs, skipping those already present.
# Usage: scripts/install-deps.sh [run|test]   (run: build and run the host; test: everything)
set -euo pipefail

# libaralog links Debian's libdlt (its DLT sink), found through pkg-config.
packages=(cmake ninja-build g++ make pkg-config nlohmann-json3-dev libdlt-dev ccache)
if [ "${1:-test}" = test ]; then
  # dlt-daemon, dlt-tools (dlt-receive, dlt-convert) and tshark: the DLT end-to-end tests.
  packages+=(clang-14 libclang-rt-14-dev libgtest-dev libgmock-dev googletest
             dlt-daemon dlt-tools tshark)
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
# tshark's package asks whether non-root users may capture; answered beforehand (no).
if [[ " ${missing[*]} " == *" tshark "* ]]; then
  echo 'wireshark-common wireshark-common/install-setuid boolean false' | $sudo debconf-set-selections
fi
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
