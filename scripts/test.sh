#!/usr/bin/env bash
# Sets up the machine, then builds and runs every test four times: a plain
# build, one under AddressSanitizer+UBSan (with the fuzz targets, each run
# for a bounded number of executions), one under ThreadSanitizer, and one
# for the product's 32-bit ARM ABI run under qemu-arm (the service, its
# host runtime and their tests; c2info-sim is a host program).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

run_suite() {
    local name=$1
    shift
    echo "=== ${name}"
    cmake -S . -B "build/${name}" -G Ninja "$@" > /dev/null
    cmake --build "build/${name}"
    (cd "build/${name}" && ctest --output-on-failure -j2)
}

run_suite default -DCMAKE_BUILD_TYPE=RelWithDebInfo
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    run_suite asan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DC2INFO_SANITIZE=address,undefined -DC2INFO_BUILD_FUZZERS=ON
TSAN_OPTIONS="halt_on_error=1" \
    run_suite tsan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DC2INFO_SANITIZE=thread
run_suite armhf -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_TOOLCHAIN_FILE=host/cmake/ArmhfToolchain.cmake \
    -DC2INFO_BUILD_TOOLS=OFF -DC2INFO_BUILD_BENCHMARKS=OFF
