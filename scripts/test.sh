#!/usr/bin/env bash
# Sets up the machine, then builds and runs every test three times: a plain
# build, one under AddressSanitizer+UBSan (with the fuzz targets, each run
# for a bounded number of executions) and one under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

run_suite() {
    local name=$1
    shift
    echo "=== ${name}"
    cmake -S . -B "build/${name}" -G Ninja "$@" > /dev/null
    cmake --build "build/${name}"
    (cd "build/${name}" && ctest --output-on-failure -j"$(nproc)")
}

run_suite default -DCMAKE_BUILD_TYPE=RelWithDebInfo
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    run_suite asan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DC2INFO_SANITIZE=address,undefined -DC2INFO_BUILD_FUZZERS=ON
TSAN_OPTIONS="halt_on_error=1" \
    run_suite tsan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DC2INFO_SANITIZE=thread
