# Shell helpers of the tests that run zevo-keysim and zevo-dm as processes over SOME/IP: the
# network namespace of the test's own, a work directory, processes stopped on exit, bounded waits
# on printed lines, and zevo-keysim's control port from the shell. Sourced by the test scripts;
# the pieces that scripts/run-network.sh uses too come from scripts/network_lib.sh.

. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/network_lib.sh"

# Under ThreadSanitizer the programs started here take the host tests' suppressions (the
# exception_ptr that libstdc++ frees out of the sanitizer's sight); other builds ignore them.
export TSAN_OPTIONS="${TSAN_OPTIONS:+$TSAN_OPTIONS:}suppressions=$(cd "$(dirname "${BASH_SOURCE[0]}")/../host" && pwd)/tsan_suppressions.txt"

# enter_namespace "$@": re-runs the script in a network namespace of its own whose loopback
# carries SD's multicast; exits 77 (skipped) where none can be made.
enter_namespace() {
  if [ "${ZEVO_IN_TEST_NAMESPACE:-}" != 1 ]; then
    unshare -n true 2>/dev/null || { echo "no network namespace (needs CAP_SYS_ADMIN): skipped"; exit 77; }
    exec unshare -n env ZEVO_IN_TEST_NAMESPACE=1 "$0" "$@"
  fi
  loopback_multicast
}

# begin_test: the work directory $work and the list $pids of processes to stop, both gone at exit
# (every process still running is killed). After enter_namespace, which starts the script anew.
begin_test() {
  work=$(mktemp -d)
  pids=()
  trap cleanup EXIT
}
cleanup() {
  for pid in "${pids[@]}"; do [ -z "$pid" ] || kill -KILL "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do [ -z "$pid" ] || wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}

# control ADDRESS PORT COMMAND: the answer line of zevo-keysim's control port (bounded by timeout).
control() {
  timeout 20 bash -c 'exec 3<>"/dev/tcp/$1/$2" && echo "$3" >&3 && read -r answer <&3 && echo "$answer"' _ "$@"
}
