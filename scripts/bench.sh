#!/usr/bin/env bash
# Builds the release configuration and runs every benchmark: the service's
# hot paths beside their floors, detiling a 4K frame beside memcpy, then
# c2info-triage over 200 bugreports of about 20 MB beside reading their
# entries with libzip alone. Arguments go to every program (for example
# --benchmark_filter=Post).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DC2INFO_BUILD_TESTS=OFF > /dev/null
cmake --build build/release --target service_benchmark detile_benchmark triage_benchmark c2info-sim
build/release/bench/service_benchmark "$@"
build/release/bench/detile_benchmark "$@"

# Four simulated TVs, one per scenario, each bugreport about 20 MB (a large
# compressed main text and the service's entry), linked 50 times each: 200
# bugreports in 80 MB of disk.
bugreports=build/release/bugreports
if [ ! -e "$bugreports/199.zip" ]; then
    mkdir -p "$bugreports"
    i=0
    for scenario in default auto-drop paused insufficient-output; do
        source="build/release/bugreport-$scenario.zip"
        build/release/sim/c2info-sim --scenario "sim/scenarios/$scenario.json" \
            --bugreport "$source" --main-text-mb 80 > /dev/null 2>&1
        for copy in $(seq 50); do
            ln -f "$source" "$bugreports/$i.zip"
            i=$((i + 1))
        done
    done
fi
build/release/bench/triage_benchmark "$bugreports" --benchmark_filter=. "$@"
