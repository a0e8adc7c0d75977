#!/usr/bin/env bash
# The main job: builds the plug-in and the host (with the simulator it embeds), then runs the
# host's scripted diagnostic session against the ten simulated services in the same process
# (extra arguments go to zevo-dm instead, e.g. `scripts/run-session.sh send 22 2C 56` or
# `scripts/run-session.sh --log-level 5 session`). The exit code is zevo-dm's.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh" run
cmake -S "$root" -B "$root/build/run" -G Ninja -DZEVO_BUILD_TESTS=OFF >/dev/null
cmake --build "$root/build/run" --target zevo-dm zevo_dm_extension >/dev/null
if [ $# -eq 0 ]; then
  set -- session
fi
exec "$root/build/run/host/zevo-dm" "$@"
