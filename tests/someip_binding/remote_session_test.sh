#!/usr/bin/env bash
# The host's whole scripted session across two processes over SOME/IP: zevo-keysim --session at
# 127.0.0.2 with its control port, zevo-dm --manifest at 127.0.0.1 driving it through
# --simulator-control, every request of the host over TRANSPORT (udp or tcp). Passes when the
# session reports every response as expected, including the withdrawn and re-offered service and
# the Start held until the host cancels its job. In a network namespace of the test's own.
# Usage: remote_session_test.sh KEYSIM HOST SOURCE_DIR TRANSPORT   (exit 77: no namespace here)
set -euo pipefail
keysim=$1 host=$2 source=$3 transport=$4
. "$(dirname "$0")/net_test_lib.sh"
enter_namespace "$@"
begin_test

variant "$source/manifests/host.json" "$work/host.json" --request-transport "$transport"
"$keysim" --manifest "$source/manifests/keysim.json" --session --control 127.0.0.2:30600 >"$work/keysim.log" 2>&1 &
pids+=($!)
wait_for "$work/keysim.log" "offering the ten services"

status=0
timeout 60 "$host" --manifest "$work/host.json" --simulator-control 127.0.0.2:30600 --log-level 3 session \
  >"$work/session.log" 2>&1 || status=$?
cat "$work/session.log"
[ "$status" = 0 ] || { echo "FAIL: zevo-dm session ended with $status"; exit 1; }
grep -q "^session: all 25 responses as expected" "$work/session.log" || { echo "FAIL: no clean summary"; exit 1; }
grep -q "the service holds the Start call: cancelling the job" "$work/session.log" || { echo "FAIL: no held Start"; exit 1; }
echo "ok: the whole session over SOME/IP, requests over $transport"
