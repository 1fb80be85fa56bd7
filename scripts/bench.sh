#!/usr/bin/env bash
# Builds the release configuration and runs every benchmark: the service's
# hot paths beside their floors, detiling a 4K frame beside memcpy, then
# c2info-triage over 200 bugreports of about 20 MB beside reading their
# entries with libzip alone, then its page beside --json, the page's size
# and its time to be drawn in a browser, then --follow, then the nightly
# release check on a month's store. Arguments go to every program (for
# example --benchmark_filter=Post).
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

# The page, beside --json on the same inputs: 2,000 bugreports of four
# streams (one made by the simulator, linked 2,000 times) and a 30-minute
# session of four streams (five seconds recorded, its last dump repeated a
# second apart: the charts are flat, the amount is real). Then each page's
# size and the milliseconds it takes to be drawn in headless Chromium.
# Last, --follow from a 16-stream dump's last byte to its change lines.
cmake --build build/release --target page_benchmark c2info-triage
fleet=build/release/fleet
session=build/release/session-30min.txt
if [ ! -e "$fleet/1999.zip" ]; then
    mkdir -p "$fleet"
    build/release/sim/c2info-sim --bugreport build/release/fleet.zip > /dev/null 2>&1
    for i in $(seq 0 1999); do ln -f build/release/fleet.zip "$fleet/$i.zip"; done
fi
if [ ! -e "$session" ]; then
    python3 - "$session" <<'PYTHON'
import json, re, subprocess, sys, datetime
scenario = json.load(open("sim/scenarios/default.json"))
scenario["seconds"] = 5
open(sys.argv[1] + ".json", "w").write(json.dumps(scenario))
subprocess.run(["build/release/sim/c2info-sim", "--scenario", sys.argv[1] + ".json",
                "--session", sys.argv[1] + ".short"], capture_output=True, check=True)
text = open(sys.argv[1] + ".short").read()
dump = text[text.rindex("C2 LsHal Ver-1.3 - Dump\n"):]
stamp = re.compile(r"^((?:  RecordTime|.*System Time): )(\d\d-\d\d \d\d:\d\d:\d\d)", re.M)
def shifted(seconds):
    def shift(match):
        at = datetime.datetime.strptime("2000-" + match[2], "%Y-%m-%d %H:%M:%S")
        return match[1] + (at + datetime.timedelta(seconds=seconds)).strftime("%m-%d %H:%M:%S")
    return stamp.sub(shift, dump)
with open(sys.argv[1], "w") as out:
    for second in range(1800):
        out.write(shifted(second))
PYTHON
fi
build/release/bench/page_benchmark "$fleet" --benchmark_filter=. "$@"
build/release/bench/page_benchmark "$session" --benchmark_filter=. "$@"
for input in "$fleet" "$session"; do
    page="$input.html"
    build/release/triage/c2info-triage --html "$page" "$input"
    ready=$(chromium-headless-shell --headless --disable-gpu --no-sandbox --dump-dom \
        "file://$PWD/$page" 2> /dev/null | grep -o 'data-ready="[0-9.]*"' | grep -o '[0-9.]*')
    echo "$page: $(stat -c %s "$page") bytes, drawn in ${ready:-?} ms"
done
cmake --build build/release --target follow_benchmark
build/release/bench/follow_benchmark "$@"

# The nightly release check at a month's scale: a store of 100,000
# bugreports of four builds over a month (bench/fleet/month.json, made by
# make-fleet.py: about 400 MB of zips and a store of about 330 MB), and the
# next night's 2,000 of a fifth build. Adding the night beside --csv on it
# alone, the night a second time, --by-build and the page of the month,
# then the page's size and its time to be drawn in headless Chromium.
cmake --build build/release --target store_benchmark
triage=build/release/triage/c2info-triage
month=build/release/month
night=build/release/next-night
for fleet in "$month" "$night"; do
    if [ ! -e "$fleet.made" ]; then
        rm -rf "$fleet"
        scripts/make-fleet.py --sim build/release/sim/c2info-sim \
            "bench/fleet/$(basename "$fleet").json" "$fleet"
        touch "$fleet.made"
    fi
done
if [ ! -e "$month.db" ]; then
    "$triage" --db "$month.db.new" "$month" > /dev/null
    mv "$month.db.new" "$month.db"
fi
build/release/bench/store_benchmark "$triage" "$month.db" "$night" build/release/store-scratch "$@"
page=build/release/store-scratch/month.html
[ -e "$page" ] || exit 0
ready=$(chromium-headless-shell --headless --disable-gpu --no-sandbox --dump-dom \
    "file://$PWD/$page" 2> /dev/null | grep -o 'data-ready="[0-9.]*"' | grep -o '[0-9.]*')
echo "$page: $(stat -c %s "$page") bytes, drawn in ${ready:-?} ms"
