#!/usr/bin/env bash
# Runs one fuzz target for longer than the test run does:
#   scripts/fuzz.sh NAME SECONDS     (NAME: debug_words, update_stream,
#                                     event_names, frame_converter or
#                                     dump_reader)
# The corpus it grows is kept in build/fuzz/corpus/NAME; the committed seeds
# under fuzz/corpus/ are only read.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ $# -ne 2 ]; then
    echo "usage: $0 NAME SECONDS" >&2
    exit 2
fi
name="fuzz_${1#fuzz_}"

scripts/setup.sh
cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
    -DCMAKE_CXX_COMPILER=clang++ -DC2INFO_SANITIZE=address,undefined -DC2INFO_BUILD_FUZZERS=ON \
    > /dev/null
cmake --build build/fuzz --target "$name"
mkdir -p "build/fuzz/corpus/$name"
max_len=512
[ "$name" = fuzz_dump_reader ] && max_len=8192  # a report's blocks run to a few kilobytes
exec "build/fuzz/fuzz/$name" -max_total_time="$2" -max_len="$max_len" -print_final_stats=1 \
    "build/fuzz/corpus/$name" "fuzz/corpus/$name"
