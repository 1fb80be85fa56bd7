#!/usr/bin/env python3
"""Writes a fleet of bugreports whose answer is known, from c2info-sim's own.

usage: make-fleet.py [--sim C2INFO_SIM] FLEET.json OUT_DIR

FLEET.json is a list of builds, each
  {"build": FINGERPRINT, "from": "YYYY-MM-DD", "days": N,
   "reports": {SCENARIO.json: COUNT, ...}}
with each scenario found beside FLEET.json or in sim/scenarios. The simulator
writes one bugreport per scenario; every report of the fleet is that
report's service entry under a header of its own (its build, a time of its
own spread over the build's days, its own dumpstate id), in Android 12's
layout, so that each is a report of its own to c2info-triage.

Prints nothing but errors. Exit status: 0 when the fleet was written, 1
when it could not be, 2 on a usage or fleet file error.
"""
import argparse
import concurrent.futures
import datetime
import json
import random
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SERVICE_ENTRY = "lshal-debug/vendor.larkspan.hardware.c2.info@1.0::ICodec2InfoService_default.txt"
BANNER = "=" * 56


class FleetError(Exception):
    pass


def read_fleet(path):
    try:
        builds = json.loads(Path(path).read_text())
        for build in builds:
            build["start"] = datetime.datetime.strptime(build["from"], "%Y-%m-%d")
            if not isinstance(build["build"], str) or int(build["days"]) < 1:
                raise ValueError(f"bad build {build['build']!r}")
            if not build["reports"] or min(build["reports"].values()) < 1:
                raise ValueError(f"no reports for {build['build']!r}")
        return builds
    except (OSError, ValueError, KeyError, TypeError) as error:
        raise FleetError(f"{path}: {error}") from error


def scenario_path(fleet_path, name):
    for folder in (Path(fleet_path).parent, ROOT / "sim" / "scenarios"):
        if (folder / name).is_file():
            return folder / name
    raise FleetError(f"{fleet_path}: no scenario {name}")


def service_entry(sim, scenario, scratch):
    """The service's dump of one simulator bugreport of the scenario."""
    report = Path(scratch) / (scenario.stem + ".zip")
    done = subprocess.run([sim, "--scenario", str(scenario), "--bugreport", str(report),
                           "--main-text-mb", "0"], capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{sim} --scenario {scenario}: {done.stderr.strip()}")
    with zipfile.ZipFile(report) as archive:
        return archive.read(SERVICE_ENTRY)


def fields(fingerprint):
    parts = fingerprint.split("/")
    device = parts[2].split(":")[0] if len(parts) > 2 else "unknown"
    return device, parts[3] if len(parts) > 3 else "unknown"


def header(fingerprint, taken_at, dumpstate_id):
    return (f"{BANNER}\n== dumpstate: {taken_at:%Y-%m-%d %H:%M:%S}\n{BANNER}\n\n"
            f"Build: {fields(fingerprint)[1]}\nBuild fingerprint: '{fingerprint}'\n"
            f"Bugreport format version: 2.0\nDumpstate info: id={dumpstate_id}\n\n"
            "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n")


def write_report(path, main_name, main_text, service):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_STORED) as archive:
        archive.writestr("version.txt", "2.0")
        archive.writestr("main_entry.txt", main_name)
        archive.writestr(main_name, main_text)
        archive.writestr(SERVICE_ENTRY, service, zipfile.ZIP_DEFLATED, 1)


def write_fleet(builds, services, out):
    out.mkdir(parents=True, exist_ok=True)
    shuffle = random.Random(35)
    dumpstate_id = 0
    for build in builds:
        mix = [name for name, count in build["reports"].items() for _ in range(count)]
        shuffle.shuffle(mix)
        span = build["days"] * 86400
        device, build_id = fields(build["build"])
        for i, name in enumerate(mix):
            dumpstate_id += 1
            taken_at = build["start"] + datetime.timedelta(seconds=i * span // len(mix))
            main_name = f"bugreport-{device}-{build_id}-{taken_at:%Y-%m-%d-%H-%M-%S}.txt"
            report = out / f"{dumpstate_id:06d}-{main_name[:-4]}.zip"
            write_report(report, main_name, header(build["build"], taken_at, dumpstate_id),
                         services[name])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--sim", default=str(ROOT / "build/default/sim/c2info-sim"))
    parser.add_argument("fleet")
    parser.add_argument("out")
    arguments = parser.parse_args()
    try:
        builds = read_fleet(arguments.fleet)
        names = {name for build in builds for name in build["reports"]}
        scenarios = {name: scenario_path(arguments.fleet, name) for name in names}
    except FleetError as error:
        print(f"make-fleet: {error}", file=sys.stderr)
        return 2
    try:
        with tempfile.TemporaryDirectory() as scratch, \
                concurrent.futures.ThreadPoolExecutor() as pool:
            made = {name: pool.submit(service_entry, arguments.sim, path, scratch)
                    for name, path in scenarios.items()}
            services = {name: future.result() for name, future in made.items()}
        write_fleet(builds, services, Path(arguments.out))
    except (OSError, RuntimeError) as error:
        print(f"make-fleet: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
