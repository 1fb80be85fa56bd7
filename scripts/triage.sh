#!/usr/bin/env bash
# Sets up the machine, builds c2info-triage and runs it with the given
# arguments (bugreport zips, text files, directories, - for stdin). The
# build's messages go to stderr, so that stdout is the triage's own.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"

"$root/scripts/setup.sh" >&2
cmake -S "$root" -B "$root/build/default" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
cmake --build "$root/build/default" --target c2info-triage >&2
exec "$root/build/default/triage/c2info-triage" "$@"
