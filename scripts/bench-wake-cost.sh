#!/usr/bin/env bash
# Runs the latency benches with the machine's guest halt polling as it is and with the guest
# polling for 200 us before it halts an idle processor, in turns, so that the two settings see
# the same load. It shows how much of a figure is the hypervisor waking an idle virtual
# processor, not this code. Root only (the setting is a module parameter); the setting found is
# put back on every exit. Usage: scripts/bench-wake-cost.sh [ROUNDS] [--build DIR] (ROUNDS: turns
# of each setting, default 3; DIR default build/run, which it builds).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
rounds=3
build="$root/build/run"
while [ $# -gt 0 ]; do
  case "$1" in
    --build) [ $# -ge 2 ] || exit 2; build=$(cd "$2" && pwd); shift 2 ;;
    [0-9]*) rounds=$1; shift ;;
    *) echo "usage: scripts/bench-wake-cost.sh [ROUNDS] [--build DIR]" >&2; exit 2 ;;
  esac
done
setting=/sys/module/haltpoll/parameters/guest_halt_poll_ns
if [ "$(id -u)" != 0 ] || [ ! -w "$setting" ]; then
  echo "bench-wake-cost: needs root and a guest with the haltpoll idle driver ($setting); skipped" >&2
  exit 77
fi
if [ "$build" = "$root/build/run" ]; then
  [ -f "$build/build.ninja" ] || cmake -S "$root" -B "$build" -G Ninja -DZEVO_BUILD_TESTS=OFF >/dev/null
  cmake --build "$build" --target job_wait_bench end_to_end_bench doip_bench someip_rtt_bench end_to_end_network_bench
fi
found=$(cat "$setting")
trap 'echo "$found" > "$setting"' EXIT
benches=(job_wait_bench end_to_end_bench doip_bench someip_rtt_bench end_to_end_network_bench)
for ((turn = 1; turn <= rounds; ++turn)); do
  for polling in "$found" 200000; do
    echo "$polling" > "$setting"
    for bench in "${benches[@]}"; do
      echo "=== turn $turn, guest halt polling $polling ns: $bench"
      timeout 300 "$build/bench/$bench" || echo "=== $bench ended with $?"
    done
  done
done
