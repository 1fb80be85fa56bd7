#!/usr/bin/env bash
# Sets up the machine with only what the host programs need, builds
# c2info-triage (no tests) and runs it with the given arguments (bugreport
# zips, text files, directories, - for stdin). The build's messages go to
# stderr, so that stdout is the triage's own.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"

"$root/scripts/setup.sh" --triage >&2
cmake -S "$root" -B "$root/build/tools" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DC2INFO_BUILD_TESTS=OFF -DC2INFO_BUILD_BENCHMARKS=OFF > /dev/null
cmake --build "$root/build/tools" --target c2info-triage >&2
exec "$root/build/tools/triage/c2info-triage" "$@"
