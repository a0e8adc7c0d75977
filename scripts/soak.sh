#!/usr/bin/env bash
# The soak of the whole road over the network: DoIP testers send requests without pause to
# zevo-dm serve, which reaches zevo-keysim over SOME/IP, while zevo-soak kills and restarts
# zevo-keysim, withdraws and offers services, leaves in the middle of slow jobs and lets calls run
# into the request time-out. Every acknowledged request must get its final answer; zevo-dm's
# memory, descriptors and threads must not grow. In a network namespace of its own (exit 77 with
# the reason where none can be made). Usage: scripts/soak.sh SECONDS [--build DIR] [--seed N]
# [--testers N] [--log-level N] [--faults KIND,...] (KIND: keysim-killed, withdrawn, tester-left,
# held-to-timeout; default all). Without --build it builds what it needs into build/soak. Exit 0
# passed, 1 failed; after a failure the logs of zevo-dm and of every zevo-keysim are kept in
# BUILD/soak-failure.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
usage() { echo "usage: scripts/soak.sh SECONDS [--build DIR] [--seed N] [--testers N] [--log-level N] [--faults KIND,...]" >&2; exit 2; }
[ $# -ge 1 ] || usage
seconds=$1
shift
[[ "$seconds" =~ ^[0-9]+$ ]] && [ "$seconds" -ge 10 ] || { echo "SECONDS: at least 10" >&2; usage; }
build="$root/build/soak"
given_build=0
extra=()
while [ $# -gt 0 ]; do
  case "$1" in
    --build) [ $# -ge 2 ] || usage; build=$(cd "$2" && pwd); given_build=1; shift 2 ;;
    --seed|--testers|--log-level|--faults) [ $# -ge 2 ] || usage; extra+=("$1" "$2"); shift 2 ;;
    *) usage ;;
  esac
done

if [ "${ZEVO_IN_TEST_NAMESPACE:-}" != 1 ]; then
  if [ "$given_build" = 0 ]; then
    "$root/scripts/install-deps.sh" test
    cmake -S "$root" -B "$build" -G Ninja >/dev/null
  fi
  cmake --build "$build" -j 2 --target zevo-soak zevo-dm zevo-keysim zevo_dm_extension >/dev/null
fi
# The namespace, its loopback carrying SD's multicast, and the work directory removed at exit.
. "$root/tests/someip_binding/net_test_lib.sh"
enter_namespace "$seconds" --build "$build" "${extra[@]}"
begin_test

variant "$root/manifests/host.json" "$work/host.json" --request-timeout 2000
skip=()
if grep -q '^ZEVO_SANITIZE:.*address' "$build/CMakeCache.txt" 2>/dev/null; then
  skip=(--skip-rss-rule "AddressSanitizer keeps freed memory in quarantine, so RSS cannot show a leak here")
fi
# zevo-soak bounds every wait itself; `timeout` bounds the whole run once more. zevo-soak dies
# with `timeout` (setpriv's parent-death signal) and its children die with it, so the cleanup at
# exit, which kills `timeout`, stops them all.
timeout --kill-after=10 $((seconds + 240)) setpriv --pdeathsig KILL "$build/tests/soak/zevo-soak" \
  --seconds "$seconds" --keysim "$build/sim/zevo-keysim" --zevo-dm "$build/host/zevo-dm" \
  --keysim-manifest "$root/manifests/keysim.json" --host-manifest "$work/host.json" \
  --request-timeout 2000 --work "$work" "${skip[@]}" "${extra[@]}" &
pids+=("$!")
status=0
wait "$!" || status=$?
if [ "$status" != 0 ]; then
  rm -rf "$build/soak-failure"
  cp -r "$work" "$build/soak-failure" && echo "soak: the logs are kept in $build/soak-failure"
fi
exit "$status"
