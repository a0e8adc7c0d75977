#!/usr/bin/env bash
# zevo-keysim killed with SIGKILL while it holds a call of zevo-dm: the host's job ends and the
# tester gets 7F <SID> 10, with the return code the binding gives for the way the call was lost:
#   tcp_kill     a Start over TCP: 0x81 as soon as the connection breaks
#   udp_ttl      a Read over UDP: 0xFF once the Offer's TTL (3 s) runs out, before the request
#                time-out (10 s)
#   udp_timeout  the same with a request time-out of 1 s: 0x86 before the TTL runs out
# The return code tells which came first; the time from the kill to the answer is only bounded
# loosely, so that sanitized builds pass too.
# The call is known to be held through zevo-keysim's control port; the return code is read from
# the plug-in's error trace. In a network namespace of the test's own.
# Usage: keysim_fault_test.sh KEYSIM HOST SOURCE_DIR CASE   (exit 77: no namespace here)
set -euo pipefail
keysim=$1 host=$2 source=$3 case=$4
. "$(dirname "$0")/net_test_lib.sh"
enter_namespace "$@"
begin_test

host_manifest="$source/manifests/host.json"
case $case in
  tcp_kill)    identifier=0x0648 method=start request="31 01 06 48 01 DE AD => 7F 31 10" code=129 within_ms=1500 ;;
  udp_ttl)     identifier=0x2C56 method=read  request="22 2C 56 => 7F 22 10" code=255 within_ms=8000 ;;
  udp_timeout) identifier=0x2C56 method=read  request="22 2C 56 => 7F 22 10" code=134 within_ms=2800
               host_manifest="$work/host.json"
               variant "$source/manifests/host.json" "$host_manifest" --request-timeout 1000 ;;
  *) echo "unknown case $case"; exit 2 ;;
esac
echo "{\"faults\": [{\"identifier\": \"$identifier\", \"method\": \"$method\", \"hold_until_cancel\": true}]}" \
  >"$work/hold.json"

"$keysim" --manifest "$source/manifests/keysim.json" --scenario "$work/hold.json" --control 127.0.0.2:30600 \
  >"$work/keysim.log" 2>&1 &
sim=$!
pids+=("$sim")
wait_for "$work/keysim.log" "offering the ten services"

timeout 30 "$host" --manifest "$host_manifest" --log-level 2 send "$request" >"$work/host.out" 2>"$work/host.err" &
host_pid=$!
pids+=("$host_pid")
answer=$(control 127.0.0.2 30600 "wait-pending $identifier $method 10000")
[ "$answer" = held ] || { echo "FAIL: the service did not hold the call: '$answer'"; cat "$work/host.err"; exit 1; }
killed=$(date +%s%N)
kill -KILL "$sim"
status=0
wait "$host_pid" || status=$?
took_ms=$(( ($(date +%s%N) - killed) / 1000000 ))
cat "$work/host.out"
failed=0
[ "$status" = 0 ] || { echo "FAIL: zevo-dm ended with $status (1: the answer was not the expected one)"; failed=1; }
grep -q "\"5_error_code\":$code[,}]" "$work/host.err" ||
  { echo "FAIL: no call ended with return code $code"; cat "$work/host.err"; failed=1; }
[ "$took_ms" -le "$within_ms" ] || { echo "FAIL: the job ended $took_ms ms after the kill, more than $within_ms"; failed=1; }
[ "$failed" = 1 ] || echo "ok: $case: 7F answered $took_ms ms after the kill, return code $code"
exit "$failed"
