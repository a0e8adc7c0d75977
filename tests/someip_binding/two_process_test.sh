#!/usr/bin/env bash
# Two processes over SOME/IP in a network namespace of the test's own: zevo-keysim serves the
# ten services at 127.0.0.2, and the diagnostic host at 127.0.0.1 (ZEVO_COM_MANIFEST, no
# simulator of its own) sends requests that reach data identifiers over UDP and routines over
# TCP; each answer must equal the one the host gives with its embedded simulator. scapy plays an
# independent peer, and tshark, capturing all of it, referees: no malformed packet, Offers,
# Finds, RESPONSEs and ERRORs as expected. Every process started here is stopped on exit.
# Usage: two_process_test.sh KEYSIM HOST SOURCE_DIR    (exit 77: no network namespace here)
# ZEVO_SHOW_FIELDS=1 prints what tshark saw, counted by message type, return code, SD entry types.
set -euo pipefail
keysim=$1 host=$2 source=$3

. "$(dirname "$0")/net_test_lib.sh"
enter_namespace "$@"
begin_test

capture="$work/session.pcapng"
tshark=""
if command -v tshark >/dev/null; then
  tshark -i lo -w "$capture" -f "udp port 30490 or port 30501" >"$work/tshark.log" 2>&1 &
  tshark=$!
  pids+=("$tshark")
  wait_for "$work/tshark.log" "Capturing on"
fi

"$keysim" --manifest "$source/manifests/keysim.json" >"$work/keysim.log" 2>&1 &
sim=$!
pids+=("$sim")
wait_for "$work/keysim.log" "offering the ten services"

failed=0
export ZEVO_LOG_LEVEL=3
# remote REQUEST: the answer of the host that reaches the services over SOME/IP.
remote() {
  # shellcheck disable=SC2086
  ZEVO_COM_MANIFEST="$source/manifests/host.json" timeout 30 "$host" --no-simulator send $1 2>>"$work/host.log" |
    answer_of || true
}
# answer_of: the answer line of send's output ("<- 62 2C 56 ..."), without its arrow.
answer_of() { sed -n 's/^<- //p'; }
# expect REQUEST PATTERN: the remote answer matches the extended regular expression.
expect() {
  local actual
  actual=$(remote "$1")
  if grep -qE "^$2\$" <<<"$actual"; then echo "ok   $1 -> $actual"; else echo "FAIL $1 -> '$actual', expected /$2/"; failed=1; fi
}
# Reads change nothing, so the remote answer equals that of a fresh embedded simulator (data
# identifiers over UDP). Routines keep state: a Start, then its results (over TCP).
for request in "22 2C 55" "22 2C 56" "22 2C 57" "22 2C 60" "22 2C 56 2C 57" "31 03 06 48" "22 F1 90"; do
  # shellcheck disable=SC2086
  expect "$request" "$(timeout 30 "$host" send $request 2>>"$work/host.log" | answer_of)"
done
expect "31 01 C0 0F 00" "71 01 C0 0F"
expect "31 03 C0 0F" "71 03 C0 0F( [0-9A-F]{2})+"

/usr/bin/python3 "$source/tests/someip_binding/scapy_peer.py" || failed=1

kill -TERM "$sim"
if ! timeout 10 tail --pid="$sim" -f /dev/null; then echo "zevo-keysim did not stop on SIGTERM"; failed=1; fi
wait "$sim" || { echo "zevo-keysim ended with $?"; failed=1; }
pids=("${pids[@]/$sim}")

if [ -n "$tshark" ]; then
  options=(-o someip.ports.udp:30490,30501 -o someip.ports.tcp:30501)
  # The capture writes in batches: wait until scapy's last exchange is in the file before
  # stopping it (at most 20 looks), so that the tail of the run is not lost.
  for _ in $(seq 20); do
    tshark -r "$capture" "${options[@]}" -Y "someip.sessionid == 21 && someip.messagetype == 0x80" 2>/dev/null \
      | grep -q . && break
    sleep 0.2
  done
  kill -INT "$tshark"; wait "$tshark" || true
  pids=("${pids[@]/$tshark}")
  expert=$(tshark -r "$capture" "${options[@]}" -q -z expert 2>&1)
  if grep -qi "malformed" <<<"$expert"; then echo "tshark: malformed packets"; echo "$expert"; failed=1; fi
  fields=$(tshark -r "$capture" "${options[@]}" -Y someip -T fields -e someip.messagetype -e someip.returncode \
    -e someipsd.entry.type -e tcp.srcport 2>/dev/null)
  for what in "0x02.*0x01" "0x02.*0x00"; do  # SD Offers and Finds
    grep -qE "^$what" <<<"$fields" || { echo "tshark: no SD entry matching $what"; failed=1; }
  done
  grep -qE "^0x80	0x00		$" <<<"$fields" || { echo "tshark: no RESPONSE over UDP"; failed=1; }
  grep -qE "^0x80	0x00		30501" <<<"$fields" || { echo "tshark: no RESPONSE over TCP"; failed=1; }
  grep -qE "^0x81	0x08" <<<"$fields" || { echo "tshark: no ERROR E_WRONG_INTERFACE_VERSION"; failed=1; }
  grep -qE "^0x81	0x21		30501" <<<"$fields" || { echo "tshark: no application error 0x21 over TCP"; failed=1; }
  echo "tshark: $(grep -c . <<<"$fields") SOME/IP messages refereed"
  [ -z "${ZEVO_SHOW_FIELDS:-}" ] || sort <<<"$fields" | uniq -c
fi
exit "$failed"
