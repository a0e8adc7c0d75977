#!/usr/bin/env bash
# Builds the project and runs the whole test suite three times: a plain g++ build, a clang build
# with AddressSanitizer and UndefinedBehaviorSanitizer, and a g++ build with ThreadSanitizer; then
# runs each fuzz target for 30 s (scripts/fuzz.sh 30). Any failing test, sanitizer report or fuzz
# crash fails the run. Usage: scripts/test.sh [plain|asan|tsan|fuzz]...
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh" test

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"

variants=("$@")
[ ${#variants[@]} -gt 0 ] || variants=(plain asan tsan fuzz)
for variant in "${variants[@]}"; do
  case "$variant" in
    fuzz) "$root/scripts/fuzz.sh" 30; continue ;;
    plain) options=(-DCMAKE_CXX_COMPILER=g++) ;;
    asan) options=(-DCMAKE_CXX_COMPILER=clang++-14 -DZEVO_SANITIZE=address,undefined -DZEVO_BUILD_BENCH=OFF) ;;
    tsan) options=(-DCMAKE_CXX_COMPILER=g++ -DZEVO_SANITIZE=thread -DZEVO_BUILD_BENCH=OFF) ;;
    *) echo "unknown build variant: $variant (plain, asan, tsan or fuzz)" >&2; exit 2 ;;
  esac
  build="$root/build/test-$variant"
  echo "=== $variant build ==="
  cmake -S "$root" -B "$build" -G Ninja "${options[@]}" >/dev/null
  cmake --build "$build" -j "$(nproc)"
  (cd "$build" && ctest --output-on-failure -j "$(nproc)")
done
