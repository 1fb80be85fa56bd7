#!/usr/bin/env bash
# The test command for ../shared/tools/mutants.py, recording which tests
# catch each mutant: a kill matrix, one line per mutant in $KILL_MATRIX,
# "FILE:LINE<tab>failed test names" (nothing after the tab: it survived).
# It runs in mutants.py's work tree and finds the planted line by comparing
# the work tree's sources with those of the checkout in $ORIGINAL.
#   KILL_MATRIX=FILE ORIGINAL=/path/to/checkout scripts/mutant-test.sh BUILD_DIR [ctest options]
set -u
build=$1
shift
mutant=$(diff -r -U0 "$ORIGINAL/c2info" c2info; diff -r -U0 "$ORIGINAL/host" host)
where=$(printf '%s\n' "$mutant" | awk '/^\+\+\+ /{file=$2} /^@@/{sub(/^\+/, "", $3); split($3, at, ","); print file ":" at[1]; exit}')
ctest --test-dir "$build" "$@" > /dev/null 2>&1
status=$?
failed=""
if [ $status -ne 0 ] && [ -f "$build/Testing/Temporary/LastTestsFailed.log" ]; then
    failed=$(cut -d: -f2- "$build/Testing/Temporary/LastTestsFailed.log" | tr '\n' ' ')
fi
printf '%s\t%s\n' "${where#./}" "$failed" >> "$KILL_MATRIX"
exit $status
