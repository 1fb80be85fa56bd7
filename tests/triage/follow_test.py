#!/usr/bin/env python3
"""c2info-triage --follow on a story played by c2info-sim: through a pipe fed a
dump every 100 ms, each change is printed before the next dump is written, bad
text is named and skipped, and the recording is what was fed; on a terminal
(tmux), the live view shows the newest dump's streams with their verdicts and
the log of changes, and q leaves the terminal as it found it.

usage: follow_test.py C2INFO_SIM C2INFO_TRIAGE SCENARIOS_DIR
"""
import json
import os
import re
import select
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SIM, TRIAGE, SCENARIOS = map(os.path.abspath, sys.argv[1:4])
BANNER = "C2 LsHal Ver-1.3 - Dump\n"
failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAILED:", what, file=sys.stderr)


def story_session(work):
    """The story's phases a second each: waiting, playing, at 4K, starved, paused."""
    scenario = json.loads(Path(f"{SCENARIOS}/story.json").read_text())
    tunnel = scenario["streams"][0]
    tunnel["snapshots"] = [tunnel["snapshots"][i] for i in (0, 1, 15, 16, 45, 46, 80, 81, 120, 121)]
    tunnel["events"] = []
    # A dump more than is used: the streams end with the scenario, as the last one may show.
    scenario["seconds"] = 10
    (work / "story.json").write_text(json.dumps(scenario))
    result = subprocess.run([SIM, "--scenario", str(work / "story.json"), "--session", "-"],
                            capture_output=True, text=True, timeout=120)
    check(result.returncode == 0, f"c2info-sim --session - failed: {result.stderr}")
    enable, *dumps = result.stdout.split(BANNER)
    return enable + "".join(BANNER + dump for dump in dumps[:9])


class Lines:
    """Lines of a pipe as they arrive, unbuffered, so that select() tells the truth."""

    def __init__(self, pipe):
        self.fd = pipe.fileno()
        self.rest = b""

    def until(self, wanted, seconds):
        """Lines read until all of wanted are among them, or time is up."""
        got = []
        deadline = time.monotonic() + seconds
        while not set(wanted) <= set(got) and time.monotonic() < deadline:
            if select.select([self.fd], [], [], max(0, deadline - time.monotonic()))[0]:
                chunk = os.read(self.fd, 65536)
                if not chunk:
                    break
                *lines, self.rest = (self.rest + chunk).split(b"\n")
                got += [line.decode() for line in lines]
        return got


def follow_pipe(work, session):
    enable, *dumps = session.split(BANNER)
    dumps = [BANNER + dump for dump in dumps]
    check(len(dumps) == 9, f"the session holds {len(dumps)} dumps, not 9")
    everything = subprocess.run([TRIAGE, "--follow", "-"], input=session, capture_output=True,
                                text=True, timeout=60).stdout.splitlines()
    for wanted in ("strId(1) c2.vdec.hevc.tunnel: appears (1920x1080,",
                   "strId(2) c2.vdec.avc: appears (", "1920x1080 -> 3840x2160",
                   "-> TPC owner (C2 pause state 1, not in play state)"):
        check(any(wanted in line for line in everything), f"no change line with {wanted!r}")

    # Each dump's changes carry record times that dump is the first to print.
    def times(dump):
        return set(re.findall(r"RecordTime: (.+)", dump))

    seen = set()
    expected = []
    for dump in dumps:
        new = times(dump) - seen
        seen |= new
        expected.append([line for line in everything if line[:18] in new])
    check(sum(map(len, expected)) == len(everything), "a change line with no dump's time")

    recording = work / "recording.txt"
    triage = subprocess.Popen([TRIAGE, "--follow", "-", "--record", str(recording)],
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True)
    lines = Lines(triage.stdout)
    triage.stdin.write(enable)
    fed = enable
    cut = dumps[3][: len(dumps[3]) // 2]
    broken = dumps[5].replace(") [", ") {", 1)
    for index, dump in enumerate(dumps):
        extra = {3: "adb: device offline\n" + cut, 5: broken}.get(index, "")
        for text in (extra, dump):
            triage.stdin.write(text)
            triage.stdin.flush()
            fed += text
        started = time.monotonic()
        got = lines.until(expected[index], 10)
        check(got == expected[index], f"dump {index}: {got} before the next, not {expected[index]}")
        time.sleep(max(0, 0.1 - (time.monotonic() - started)))
    triage.stdin.close()
    check(lines.until([None], 10) == [] and lines.rest == b"",
          "changes held back until the input ended")
    errors = triage.stderr.read()
    triage.wait(timeout=10)
    check(triage.returncode == 0, f"--follow exited {triage.returncode}")
    for wanted in ("not the service's output", "a dump cut short, the next began at line",
                   "not understood (skipped)"):
        check(wanted in errors, f"stderr does not name {wanted!r}: {errors}")
    check(recording.read_text() == fed, "the recording differs from what was fed")


def live_view(work, session, colours):
    """The view in a terminal of 120 x 40, then q; with NO_COLOR set unless colours."""
    (work / "session.txt").write_text(session)
    server = tmux_server(f"follow-{colours}")
    (work / "after").unlink(missing_ok=True)
    command = (f"cd {work} && stty -g > before && {'' if colours else 'NO_COLOR=1 '}"
               f"LANG=C.UTF-8 {TRIAGE} --follow session.txt; stty -g > after; echo left; sleep 60")
    subprocess.run(server + ["new-session", "-d", "-x", "120", "-y", "40", command], check=True)

    def capture(*options):
        return subprocess.run(server + ["capture-pane", "-p", *options], capture_output=True,
                              text=True).stdout

    try:
        screen = ""
        deadline = time.monotonic() + 20
        while "TPC owner" not in screen and time.monotonic() < deadline:
            time.sleep(0.2)
            screen = capture()
        rows = {line.split()[0]: line for line in screen.splitlines()
                if re.match(r"\d+ +c2\.vdec", line)}
        check(set(rows) == {"1", "2"}, f"the rows are not the two streams:\n{screen}")
        tunnel = rows.get("1", "")
        check(re.search(r"c2\.vdec\.hevc\.tunnel +3840x2160 .* TPC owner ", tunnel),
              f"the tunnel's row: {tunnel!r}")
        check(re.search("[▁▂▃▄▅▆▇█]{2}$", tunnel.rstrip()), f"no sparkline in {tunnel!r}")
        check("c2.vdec.hevc.tunnel: 1920x1080 -> 3840x2160" in screen, "no change in the log")
        owners = dict(re.findall(r"\x1b\[(3\dm)(TPC owner|C2BWM Owner)", capture("-e")))
        check(len(set(owners)) == (2 if colours else 0),
              f"verdict colours {owners} {'with' if colours else 'without'} colours")
        subprocess.run(server + ["send-keys", "q"], check=True)
        deadline = time.monotonic() + 10
        while not (work / "after").exists() and time.monotonic() < deadline:
            time.sleep(0.1)
        time.sleep(0.2)
        screen = capture()
        check("left" in screen and "TPC owner" not in screen, f"q did not leave:\n{screen}")
        check((work / "before").read_text() == (work / "after").read_text(),
              "the terminal's settings differ after q")
    finally:
        subprocess.run(server + ["kill-server"], capture_output=True)


def tmux_server(name):
    return ["tmux", "-f", "/dev/null", "-L", f"c2info-{name}-{os.getpid()}"]


def progress_line(work, session):
    """Drawn in place while the inputs are read, gone when the run ends."""
    many = work / "many"
    many.mkdir()
    (work / "one.txt").write_text(session)
    for i in range(3000):
        os.link(work / "one.txt", many / f"{i:04d}.txt")
    quiet = subprocess.run([TRIAGE, "--jobs", "1", str(many)], stdout=subprocess.DEVNULL,
                           stderr=subprocess.PIPE, text=True, timeout=120)
    check(quiet.returncode == 0 and quiet.stderr == "", f"progress on a file: {quiet.stderr!r}")
    server = tmux_server("progress")
    command = f"{TRIAGE} --jobs 1 {many} > /dev/null; echo ended; sleep 60"
    subprocess.run(server + ["new-session", "-d", "-x", "120", "-y", "10", command], check=True)
    try:
        drawn = set()
        screen = ""
        deadline = time.monotonic() + 60
        while "ended" not in screen and time.monotonic() < deadline:
            screen = subprocess.run(server + ["capture-pane", "-p"], capture_output=True,
                                    text=True).stdout
            drawn |= set(re.findall(r"^\d+ of 3000, \d+/s, \d+:\d\d left$", screen, re.M))
            time.sleep(0.05)
        check(drawn, f"no progress line was seen:\n{screen}")
        check(screen.splitlines()[0] == "ended", f"the progress line stayed:\n{screen}")
    finally:
        subprocess.run(server + ["kill-server"], capture_output=True)


def main():
    with tempfile.TemporaryDirectory() as directory:
        work = Path(directory)
        session = story_session(work)
        follow_pipe(work, session)
        live_view(work, session, colours=True)
        live_view(work, session, colours=False)
        progress_line(work, session)
    print(f"{0 if failures else 1} passed, {len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
