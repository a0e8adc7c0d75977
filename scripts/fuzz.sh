#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ in build/fuzz (clang++-14; AddressSanitizer and
# UndefinedBehaviorSanitizer over the plug-in core and the host as well) and runs each for the
# given number of seconds on a scratch copy of its seed corpus, fuzz/corpus/<target>/. A crash,
# leak, sanitizer report or broken property fails the run; the input that caused it is left in
# build/fuzz/artifacts/<target>/ and the target's log in build/fuzz/logs/<target>.log.
# Usage: scripts/fuzz.sh [seconds-per-target]   (default 30, as scripts/test.sh runs it)
# The long run, before a release or after a change to a reader or decoder: scripts/fuzz.sh 1800
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-30}
case "$seconds" in
  '' | *[!0-9]*) echo "seconds per target must be a whole number: $seconds" >&2; exit 2 ;;
esac
"$root/scripts/install-deps.sh" test

build="$root/build/fuzz"
targets=(someip_response_fuzz uds_request_fuzz doip_frame_fuzz someip_message_fuzz someip_sd_fuzz control_line_fuzz)
echo "=== fuzz build ==="
# fuzzer-no-link gives the libraries the coverage counters libFuzzer steers by.
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 -DZEVO_SANITIZE=address,undefined \
  -DZEVO_BUILD_FUZZ=ON -DZEVO_BUILD_TESTS=OFF -DZEVO_BUILD_BENCH=OFF \
  -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link >/dev/null
cmake --build "$build" -j "$(nproc)" --target "${targets[@]}"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:strict_string_checks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

passed=0
failed=0
for target in "${targets[@]}"; do
  scratch="$build/corpus/$target"
  artifacts="$build/artifacts/$target"
  log="$build/logs/$target.log"
  rm -rf "$scratch"
  mkdir -p "$scratch" "$artifacts" "$(dirname "$log")"
  cp -R "$root/fuzz/corpus/$target/." "$scratch/"
  echo "=== $target: ${seconds} s ==="
  # -max_len: a UDS request or a response of these interfaces is far shorter; longer inputs only
  # slow the host's dispatcher, which starts a thread per job.
  if "$build/fuzz/$target" -max_total_time="$seconds" -max_len=512 -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$artifacts/" "$scratch" >"$log" 2>&1; then
    grep -E '^(Done|stat::number_of_executed_units|stat::peak_rss_mb)' "$log" || true
    echo "$target: no crash"
    passed=$((passed + 1))
  else
    tail -n 60 "$log"
    echo "$target: FAILED (input in $artifacts/, log in $log)" >&2
    failed=$((failed + 1))
  fi
done
echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
