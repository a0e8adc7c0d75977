#!/usr/bin/env bash
# Installs the Debian packages the project needs, skipping those already present.
# Usage: scripts/install-deps.sh [run|network|test]   (run: build and run the host; network: that
# and iproute2 for scripts/run-network.sh; test: everything)
set -euo pipefail

# libaralog links Debian's libdlt (its DLT sink), found through pkg-config; the DoIP entity and the
# SOME/IP binding run on standalone Asio; ccache serves repeated builds.
packages=(cmake ninja-build g++ make pkg-config nlohmann-json3-dev libdlt-dev libasio-dev ccache)
if [ "${1:-test}" = network ]; then
  packages+=(iproute2)
fi
if [ "${1:-test}" = test ]; then
  packages+=(clang-14 libclang-rt-14-dev libgtest-dev libgmock-dev googletest)
  # dlt-daemon, dlt-tools (dlt-receive, dlt-convert): the DLT end-to-end tests. python3-scapy:
  # the independent DoIP, UDS and SOME/IP peers. tshark: the referee that decodes captures.
  # iproute2 (ip): the network namespaces and veth pairs of the SOME/IP tests across processes.
  packages+=(dlt-daemon dlt-tools python3-scapy tshark iproute2)
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
