#!/usr/bin/env bash
# The whole road over the network: a tester's DoIP connection to zevo-dm serve, and SOME/IP with
# SD from the plug-in to zevo-keysim, the ten services' ECU. Builds what it needs into build/run,
# starts zevo-keysim (127.0.0.2) and zevo-dm serve (127.0.0.1) in a network namespace of its own,
# runs zevo-tester through the simulator's scripted session (the requests a tester can run, from
# zevo-session-requests) with their expected answers, and stops both with SIGTERM.
# Exit codes: 0 every answer as expected and both stopped cleanly; 1 otherwise; 2 a bad command
# line or no network namespace to be had; 77 --two-hosts without root (skipped); 124 the whole
# run's limit (120 s after the build) ran out.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/network_lib.sh"

usage="usage: scripts/run-network.sh [--log-level N] [--build DIR] [--two-hosts] [--request LINE]...
  --log-level N   zevo-dm's log level, 0 (off) to 6; its standard error (the plug-in's trace
                  at 5) is then shown as it comes
  --build DIR     run the binaries already built in DIR (a build tree of this project) and
                  build nothing (default: build into build/run first)
  --two-hosts     zevo-keysim in one named network namespace, zevo-dm serve and the tester in
                  another, joined by a veth pair (10.77.x.2 and 10.77.x.1); needs root
  --request LINE  one more request after the session's, in zevo-tester's syntax
                  ('22 2C 60 => 62 2C 60 08 ...'); may be given again
  --help          print this help and exit"

# Limits: the whole run, each process's start, each process's stop after SIGTERM, the tester.
run_limit_s=120 start_looks=300 stop_looks=100 tester_limit_s=60

log_level="" build="" two_hosts=0 extra=()
arguments=("$@")
while [ $# -gt 0 ]; do
  case $1 in
    --help) echo "$usage"; exit 0 ;;
    --two-hosts) two_hosts=1; shift ;;
    --log-level|--build|--request)
      [ $# -ge 2 ] || { echo "run-network: $1 wants a value" >&2; echo "$usage" >&2; exit 2; }
      case $1 in
        --log-level) [[ $2 =~ ^[0-6]$ ]] || { echo "run-network: --log-level wants 0 to 6, not '$2'" >&2; exit 2; }
                     log_level=$2 ;;
        --build) build=$2 ;;
        --request) extra+=("$2") ;;
      esac
      shift 2 ;;
    *) echo "run-network: unknown option $1" >&2; echo "$usage" >&2; exit 2 ;;
  esac
done

# ---- stage 1: build (unless --build), then the run again under the whole-run limit, for one
# namespace in a network namespace of its own.
if [ "${ZEVO_RUN_NETWORK_STAGE:-}" != inner ]; then
  if [ "$two_hosts" = 1 ] && [ "$(id -u)" != 0 ]; then
    echo "run-network: --two-hosts makes named network namespaces and a veth pair, which needs root: skipped"
    exit 77
  fi
  if [ -z "$build" ]; then
    "$root/scripts/install-deps.sh" network
    cmake -S "$root" -B "$root/build/run" -G Ninja -DZEVO_BUILD_TESTS=OFF >/dev/null
    cmake --build "$root/build/run" --target zevo-dm zevo_dm_extension zevo-keysim zevo-tester \
      zevo-session-requests >/dev/null
    arguments+=(--build "$root/build/run")
  fi
  namespace=()
  if [ "$two_hosts" = 1 ]; then
    :  # the namespaces are made by the run itself
  elif unshare -n true 2>/dev/null; then
    namespace=(unshare -n)
  elif unshare -rn true 2>/dev/null; then
    namespace=(unshare -rn)
  else
    echo "run-network: no network namespace to be had (unshare -n needs root or CAP_SYS_ADMIN, and" \
      "unshare -rn user namespaces, which this system does not allow); SD's multicast needs one" >&2
    exit 2
  fi
  exec timeout --foreground -k 10 "$run_limit_s" "${namespace[@]}" env ZEVO_RUN_NETWORK_STAGE=inner "$0" \
    "${arguments[@]}"
fi

# ---- stage 2: the run.
keysim="$build/sim/zevo-keysim" dm="$build/host/zevo-dm" tester="$build/host/doip/zevo-tester"
requests_tool="$build/host/zevo-session-requests"
for binary in "$keysim" "$dm" "$tester" "$requests_tool"; do
  [ -x "$binary" ] || { echo "run-network: $binary is not built" >&2; exit 2; }
done

work=$(mktemp -d)
keysim_pid="" dm_pid="" tester_pid=""
client="" server=""
# Whatever still runs is killed and reaped, the namespaces and the work directory go.
finish() {
  local pid
  for pid in "$tester_pid" "$dm_pid" "$keysim_pid"; do [ -z "$pid" ] || kill -KILL "$pid" 2>/dev/null || true; done
  for pid in "$tester_pid" "$dm_pid" "$keysim_pid"; do [ -z "$pid" ] || wait "$pid" 2>/dev/null || true; done
  two_hosts_down
  rm -rf "$work"
}
trap finish EXIT
trap 'echo "run-network: interrupted"; exit 1' INT TERM

keysim_manifest="$root/manifests/keysim.json" dm_manifest="$root/manifests/host.json"
keysim_address=127.0.0.2 dm_address=127.0.0.1
in_keysim=() in_dm=()
if [ "$two_hosts" = 1 ]; then
  if ! two_hosts_up $$ "$work/netns.err"; then
    [ -n "$client" ] || { echo "run-network: cannot make a named network namespace ($(cat "$work/netns.err")): skipped"; exit 77; }
    echo "run-network: the two hosts could not be joined: $(cat "$work/netns.err")"; exit 1
  fi
  keysim_address="$subnet.2" dm_address="$subnet.1"
  keysim_manifest="$work/keysim.json" dm_manifest="$work/host.json"
  variant "$root/manifests/keysim.json" "$keysim_manifest" --unicast "$keysim_address"
  variant "$root/manifests/host.json" "$dm_manifest" --unicast "$dm_address"
  in_keysim=(ip netns exec "$server") in_dm=(ip netns exec "$client")
  echo "run-network: zevo-keysim in namespace $server at $keysim_address, zevo-dm serve and the tester in $client at $dm_address"
else
  loopback_multicast
  echo "run-network: zevo-keysim at $keysim_address, zevo-dm serve at $dm_address, in a network namespace of their own"
fi

# The session's requests as a tester runs them, after them those of --request. Routines work for
# no time, so that every results request finds its routine done, as the session expects.
"$requests_tool" >"$work/requests.txt"
for line in "${extra[@]+"${extra[@]}"}"; do echo "$line" >>"$work/requests.txt"; done
requests=$(grep -cv -e '^#' -e '^[[:space:]]*$' "$work/requests.txt")
echo '{"routine_duration_ms": 0}' >"$work/scenario.json"

# running PID: the process exists and has not exited (bash reaps its children as they end and
# keeps their status for wait; one not yet reaped is a zombie).
running() {
  local stat
  stat=$(cat "/proc/$1/stat" 2>/dev/null) || return 1
  stat=${stat##*) }
  [ "${stat:0:1}" != Z ]
}
# started PID LOG TEXT NAME: TEXT appears in LOG while the process runs, within the start limit.
started() {
  for _ in $(seq "$start_looks"); do
    grep -q -- "$3" "$2" && return 0
    running "$1" || { echo "run-network: $4 ended at start:"; cat "$2"; return 1; }
    sleep 0.05
  done
  echo "run-network: $4 did not say '$3' within $((start_looks / 20)) s:"; cat "$2"; return 1
}
# stop PID NAME: SIGTERM, a bounded wait, then SIGKILL; true when it ended by itself with 0.
stop() {
  kill -TERM "$1" 2>/dev/null || true
  for _ in $(seq "$stop_looks"); do running "$1" || break; sleep 0.05; done
  if running "$1"; then
    echo "run-network: $2 still ran $((stop_looks / 20)) s after SIGTERM: killed"
    kill -KILL "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
    return 1
  fi
  local status=0
  wait "$1" || status=$?
  [ "$status" = 0 ] || { echo "run-network: $2 exited with $status after SIGTERM"; return 1; }
}

"${in_keysim[@]}" "$keysim" --manifest "$keysim_manifest" --scenario "$work/scenario.json" >"$work/keysim.log" 2>&1 &
keysim_pid=$!
echo "run-network: zevo-keysim pid $keysim_pid"
started "$keysim_pid" "$work/keysim.log" "offering the ten services" zevo-keysim || exit 1

dm_arguments=(--manifest "$dm_manifest" --listen "$dm_address:13400")
[ -z "$log_level" ] || dm_arguments+=(--log-level "$log_level")
if [ -n "$log_level" ]; then
  "${in_dm[@]}" "$dm" "${dm_arguments[@]}" serve >"$work/dm.out" &
else
  "${in_dm[@]}" "$dm" "${dm_arguments[@]}" serve >"$work/dm.out" 2>"$work/dm.err" &
fi
dm_pid=$!
echo "run-network: zevo-dm serve pid $dm_pid"
started "$dm_pid" "$work/dm.out" "serving DoIP on" "zevo-dm serve" || { cat "$work/dm.err" 2>/dev/null; exit 1; }
cat "$work/dm.out"

# The tester in the background, so that a signal to this script is taken while it runs.
tester_status=0
"${in_dm[@]}" timeout -k 2 "$tester_limit_s" "$tester" --host "$dm_address" --file "$work/requests.txt" &
tester_pid=$!
wait "$tester_pid" || tester_status=$?
tester_pid=""

clean=1
stop "$dm_pid" "zevo-dm serve" || clean=0
dm_pid=""
grep -q "stopped serving on SIGTERM" "$work/dm.out" || { echo "run-network: zevo-dm did not report its stop"; clean=0; }
stop "$keysim_pid" zevo-keysim || clean=0
keysim_pid=""
if [ "$clean" = 0 ]; then
  cat "$work/dm.out" "$work/dm.err" "$work/keysim.log" 2>/dev/null || true
fi

if [ "$tester_status" = 0 ] && [ "$clean" = 1 ]; then
  echo "run-network: all $requests answers as expected; zevo-dm serve and zevo-keysim stopped cleanly"
  exit 0
fi
[ "$tester_status" = 0 ] || echo "run-network: FAILED: zevo-tester ended with $tester_status (1: an answer differs or is missing)"
[ "$clean" = 1 ] || echo "run-network: FAILED: zevo-dm serve and zevo-keysim did not both stop cleanly"
if [ "$tester_status" != 0 ] && [ -z "$log_level" ]; then
  echo "run-network: the last lines zevo-dm wrote to standard error:"
  tail -n 20 "$work/dm.err"
fi
exit 1
