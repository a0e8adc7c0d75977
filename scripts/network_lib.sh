# Shell helpers for running zevo-keysim and zevo-dm as processes over SOME/IP: loopback that
# carries SD's multicast, two network namespaces joined by a veth pair as two hosts, bounded waits
# on printed lines, and manifests written from the shipped ones. Sourced by scripts/run-network.sh
# and by the tests' net_test_lib.sh; the functions return non-zero (after a message) on failure.

network_lib_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# loopback_multicast: in a fresh network namespace, brings lo up and routes SD's multicast over it.
loopback_multicast() {
  ip link set lo up
  ip link set lo multicast on
  ip route add 224.0.0.0/4 dev lo
}

# wait_for FILE TEXT [LOOKS]: until TEXT stands in FILE, at most LOOKS × 50 ms (default 10 s).
wait_for() {
  for _ in $(seq "${3:-200}"); do grep -q -- "$2" "$1" 2>/dev/null && return 0; sleep 0.05; done
  echo "timed out waiting for '$2' in $1"; cat "$1"; return 1
}

# variant SHIPPED OUT ARGS...: a manifest from a shipped one with a few values replaced
# (tests/someip_binding/manifest_variant.py: --unicast, --request-transport, --request-timeout, --ttl).
variant() {
  /usr/bin/python3 "$network_lib_dir/../tests/someip_binding/manifest_variant.py" "$@"
}

# two_hosts_up TAG ERRORS: two named network namespaces, $client (zevo-dm-TAG) at $subnet.1 and
# $server (zevo-keysim-TAG) at $subnet.2 (10.77.x, x from TAG), joined by a veth pair that carries
# SD's multicast; each has its lo up. Returns 1 at the first step that fails, its message in the
# file ERRORS; two_hosts_down removes whatever was made (also after a failure).
two_hosts_up() {
  local tag=$1 errors=$2 side namespace device address
  subnet="10.77.$((tag % 250 + 1))"
  client="zevo-dm-$tag" server="zevo-keysim-$tag"
  ip netns add "$client" 2>"$errors" || { client=""; return 1; }
  ip netns add "$server" 2>"$errors" || { server=""; return 1; }
  ip link add "zc$tag" netns "$client" type veth peer name "zs$tag" netns "$server" 2>"$errors" || return 1
  for side in client server; do
    namespace=${!side} device=$([ "$side" = client ] && echo "zc$tag" || echo "zs$tag")
    address=$([ "$side" = client ] && echo "$subnet.1" || echo "$subnet.2")
    { ip -n "$namespace" link set lo up &&
      ip -n "$namespace" addr add "$address/24" dev "$device" &&
      ip -n "$namespace" link set "$device" up &&
      ip -n "$namespace" route add 224.0.0.0/4 dev "$device"; } 2>"$errors" || return 1
  done
}
two_hosts_down() {
  [ -z "${client:-}" ] || ip netns del "$client" 2>/dev/null || true
  [ -z "${server:-}" ] || ip netns del "$server" 2>/dev/null || true
}
