#!/usr/bin/env bash
# Builds the project and runs the whole test suite three times: a plain g++ build, a clang build
# with AddressSanitizer and UndefinedBehaviorSanitizer, and a g++ build with ThreadSanitizer; then
# runs each fuzz target for 30 s (scripts/fuzz.sh 30). After the tests of each build the soak of
# the whole road runs on that build (scripts/soak.sh: 60 s on the plain build, 20 s under each
# sanitizer). Any failing test, sanitizer report, soak failure or fuzz crash fails the run.
# Usage: scripts/test.sh [plain|asan|tsan|fuzz]...
# Compiles through ccache when it is installed (scripts/install-deps.sh installs it); the sanitizer
# builds leave out the benchmarks, which they never run. Prints the time of every stage at the end.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh" test

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
# Paths relative to the clone and no working directory in the hash: a clone elsewhere, or another
# build directory of the same sources, reuses the cached objects.
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1

stages=()
stage_started=0
begin_stage() { stage_started=$SECONDS; echo "=== $1 ==="; }
end_stage() { stages+=("$(printf '%-14s %5d s' "$1" $((SECONDS - stage_started)))"); }
print_stages() {
  echo "=== stage times ==="
  printf '%s\n' "${stages[@]}"
  if command -v ccache >/dev/null; then ccache --show-stats 2>/dev/null | grep -Ei '^ *(hits|misses|cache hit)' || true; fi
}
trap print_stages EXIT

variants=("$@")
[ ${#variants[@]} -gt 0 ] || variants=(plain asan tsan fuzz)
for variant in "${variants[@]}"; do
  case "$variant" in
    fuzz) stage_started=$SECONDS; "$root/scripts/fuzz.sh" 30; end_stage "fuzz"; continue ;;
    plain) options=(-DCMAKE_CXX_COMPILER=g++) ;;
    asan) options=(-DCMAKE_CXX_COMPILER=clang++-14 -DZEVO_SANITIZE=address,undefined -DZEVO_BUILD_BENCH=OFF) ;;
    tsan) options=(-DCMAKE_CXX_COMPILER=g++ -DZEVO_SANITIZE=thread -DZEVO_BUILD_BENCH=OFF) ;;
    *) echo "unknown build variant: $variant (plain, asan, tsan or fuzz)" >&2; exit 2 ;;
  esac
  build="$root/build/test-$variant"
  begin_stage "$variant build"
  cmake -S "$root" -B "$build" -G Ninja "${options[@]}" >/dev/null
  cmake --build "$build" -j "$(nproc)"
  end_stage "$variant build"
  begin_stage "$variant tests"
  (cd "$build" && ctest --output-on-failure -j "$(nproc)")
  end_stage "$variant tests"
  begin_stage "$variant soak"
  soak_status=0
  if [ "$variant" = plain ]; then soak_seconds=60; else soak_seconds=20; fi
  "$root/scripts/soak.sh" "$soak_seconds" --build "$build" || soak_status=$?
  # 77: no network namespace can be made here; the soak is skipped, as the namespace tests are.
  [ "$soak_status" = 0 ] || [ "$soak_status" = 77 ] || exit "$soak_status"
  end_stage "$variant soak"
done
