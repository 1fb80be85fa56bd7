#!/usr/bin/env bash
# Builds the release configuration and runs every benchmark: the service's
# hot paths beside their floors, then detiling a 4K frame beside memcpy.
# Arguments go to both programs (for example --benchmark_filter=Post).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DC2INFO_BUILD_TESTS=OFF > /dev/null
cmake --build build/release --target service_benchmark detile_benchmark
build/release/bench/service_benchmark "$@"
build/release/bench/detile_benchmark "$@"
