#!/usr/bin/env bash
# scripts/run-network.sh as a user runs it, on this build's binaries (--build):
#   one_namespace  the whole road in a network namespace of its own: exit 0, the tester's answers
#                  (the key list read among them) and the clean summary in the output
#   two_hosts      the same across two named network namespaces joined by a veth pair (root)
#   wrong_answer   one request added with a wrong expectation: the script fails, says which
#                  answer differed, and still leaves neither process nor namespace behind
# Usage: road_test.sh CASE BUILD_DIR SOURCE_DIR   (exit 77: no namespace of the kind needed here)
set -euo pipefail
case=$1 build=$2 source=$3
# For the suppressions that programs of a ThreadSanitizer build take.
. "$source/tests/someip_binding/net_test_lib.sh"

script_arguments=(--build "$build")
case $case in
  one_namespace) expected_status=0 ;;
  two_hosts) expected_status=0 script_arguments+=(--two-hosts) ;;
  wrong_answer) expected_status=1 script_arguments+=(--request "22 2C 60 => 62 2C 60 FF") ;;
  *) echo "unknown case $case"; exit 2 ;;
esac

output=$(mktemp)
trap 'rm -f "$output"' EXIT
status=0
timeout 40 "$source/scripts/run-network.sh" "${script_arguments[@]}" >"$output" 2>&1 || status=$?
cat "$output"
[ "$status" != 77 ] || exit 77
[ "$status" != 2 ] || ! grep -q "no network namespace to be had" "$output" || { echo "skipped"; exit 77; }
failed=0
fail() { echo "FAIL: $*"; failed=1; }
has() { grep -qF -- "$1" "$output" || fail "no line '$1' in the output"; }

[ "$status" = "$expected_status" ] || fail "run-network.sh ended with $status, not $expected_status"
has "<- 62 2C 60 08 02 1A 01 1A 02  ("  # the first read of the key list, over DoIP and SOME/IP
has "<- 7F 22 31  ("                    # the unserved identifier, refused by the server itself
sent=$(grep -c '^-> ' "$output" || true)
requests=$("$build/host/zevo-session-requests" | grep -cv '^#')
if [ "$case" = wrong_answer ]; then
  [ "$sent" = $((requests + 1)) ] || fail "$sent requests sent, not the session's $requests and the added one"
  has "   expected 62 2C 60 FF"
  has "run-network: FAILED: zevo-tester ended with 1"
  ! grep -q "answers as expected" "$output" || fail "a clean summary after a wrong answer"
else
  [ "$sent" = "$requests" ] || fail "$sent requests sent, not the session's $requests"
  has "run-network: all $requests answers as expected; zevo-dm serve and zevo-keysim stopped cleanly"
  ! grep -q "expected [0-9A-F]" "$output" || fail "an answer differed"
fi

# Nothing left behind: the processes the script named are gone, and so are its namespaces.
for pid in $(sed -n 's/^run-network: .* pid \([0-9]*\)$/\1/p' "$output"); do
  executable=$(readlink "/proc/$pid/exe" 2>/dev/null || true)
  case $executable in
    */zevo-keysim|*/zevo-dm) fail "process $pid ($executable) still runs" ;;
  esac
done
[ "$(grep -c '^run-network: .* pid [0-9]*$' "$output")" = 2 ] || fail "the script did not name both processes"
if [ "$case" = two_hosts ]; then
  tag=$(sed -n 's/^run-network: zevo-keysim in namespace zevo-keysim-\([0-9]*\) .*/\1/p' "$output")
  [ -n "$tag" ] || fail "no namespace named"
  ! ip netns list | grep -qw -e "zevo-keysim-$tag" -e "zevo-dm-$tag" || fail "the namespaces of $tag were left behind"
fi
[ "$failed" = 0 ] && echo "ok: $case"
exit "$failed"
