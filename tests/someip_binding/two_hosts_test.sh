#!/usr/bin/env bash
# The host and the simulator on two machines: two network namespaces joined by a veth pair,
# zevo-keysim --session at 10.77.x.2 in one, zevo-dm --manifest at 10.77.x.1 in the other,
# SOME/IP-SD by multicast across the link (no loopback involved), and the whole scripted session
# driven through the control port across the link. The manifests are the shipped ones with the
# namespaces' addresses. Needs root (named namespaces, veth); without it: skipped, exit 77.
# Usage: two_hosts_test.sh KEYSIM HOST SOURCE_DIR
set -euo pipefail
keysim=$1 host=$2 source=$3
. "$(dirname "$0")/net_test_lib.sh"
begin_test

remove_namespaces() {
  cleanup
  two_hosts_down
}
trap remove_namespaces EXIT
if ! two_hosts_up $$ "$work/netns.err"; then
  [ -n "$client" ] || { echo "cannot make a named network namespace ($(cat "$work/netns.err")): skipped"; exit 77; }
  echo "FAIL: the two hosts could not be joined: $(cat "$work/netns.err")"; exit 1
fi

variant "$source/manifests/host.json" "$work/host.json" --unicast "$subnet.1"
variant "$source/manifests/keysim.json" "$work/keysim.json" --unicast "$subnet.2"
ip netns exec "$server" "$keysim" --manifest "$work/keysim.json" --session --control "$subnet.2:30600" \
  >"$work/keysim.log" 2>&1 &
pids+=($!)
wait_for "$work/keysim.log" "offering the ten services"

status=0
timeout 60 ip netns exec "$client" "$host" --manifest "$work/host.json" --simulator-control "$subnet.2:30600" \
  --log-level 3 session >"$work/session.log" 2>&1 || status=$?
cat "$work/session.log"
[ "$status" = 0 ] || { echo "FAIL: zevo-dm session ended with $status"; exit 1; }
grep -q "^session: all 25 responses as expected" "$work/session.log" || { echo "FAIL: no clean summary"; exit 1; }
echo "ok: the whole session between $subnet.1 and $subnet.2"
