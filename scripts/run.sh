#!/usr/bin/env bash
# Sets up the machine, builds the simulated codec process and runs it with
# the given arguments (the show when there are none). The build's messages
# go to stderr, so that stdout is the simulator's own.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"

"$root/scripts/setup.sh" >&2
cmake -S "$root" -B "$root/build/default" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
cmake --build "$root/build/default" --target c2info-sim >&2
exec "$root/build/default/sim/c2info-sim" "$@"
