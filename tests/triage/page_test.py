#!/usr/bin/env python3
"""c2info-triage --html opened in headless Chromium: the rendered page says what
--json says, draws every chart, opens a detail from its URL, shows the recorded
session's history, and shows hostile names as text with nothing run. Then,
driven by clicks, on bugreports of two builds: the release table says what
--by-build --json says, and a module or an owner picked filters the streams.

usage: page_test.py C2INFO_SIM C2INFO_TRIAGE CHROMIUM SCENARIOS_DIR SCREENSHOT.png CHROMEDRIVER
"""
import collections
import html.parser
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import Select, WebDriverWait
except ImportError:
    # Debian's python3-selenium is installed for Debian's own interpreter.
    if sys.executable != "/usr/bin/python3" and os.path.exists("/usr/bin/python3"):
        os.execv("/usr/bin/python3", ["/usr/bin/python3", *sys.argv])
    raise

SIM, TRIAGE, CHROMIUM, SCENARIOS, SCREENSHOT, CHROMEDRIVER = sys.argv[1:7]
HOSTILE = {"c2.vdec.avc": "<img src=x onerror=alert(1)>\u2026",
           "c2.vdec.vp9.tunnel": "</script><script>document.title='pwned'</script>"}
HOSTILE_BUILD = "<b>larkspan</b>/tv_product/tv_device:12/SP1A.210812.016/1:user/release-keys"


def run(*command, stdin=None):
    """The command's result; a hang (a page stuck in a dialog) gives no output."""
    try:
        return subprocess.run(command, input=stdin, capture_output=True, text=True, timeout=60)
    except subprocess.TimeoutExpired:
        return subprocess.CompletedProcess(command, -1, "", "timed out")


class Tables(html.parser.HTMLParser):
    """The text of each body row of each table with an id."""

    def __init__(self):
        super().__init__()
        self.rows = collections.defaultdict(list)
        self.table = None
        self.cell = None

    def handle_starttag(self, tag, attrs):
        if tag == "table":
            self.table = dict(attrs).get("id")
        elif tag == "tr" and self.table:
            self.rows[self.table].append([])
        elif tag == "td" and self.table:
            self.cell = ""

    def handle_endtag(self, tag):
        if tag == "td" and self.cell is not None:
            self.rows[self.table][-1].append(self.cell)
            self.cell = None
        elif tag == "table":
            self.table = None

    def handle_data(self, data):
        if self.cell is not None:
            self.cell += data


def text(value):
    return value if isinstance(value, str) else json.dumps(value)


def same(cell, value):
    """Whether a cell shows a --by-build --json value."""
    if value is None:
        return cell == ""
    return cell == value if isinstance(value, str) else float(cell) == float(value)


def shown_rows(driver):
    return [[td.text for td in tr.find_elements(By.TAG_NAME, "td")]
            for tr in driver.find_elements(By.CSS_SELECTOR, "#rows tbody tr")]


def check_release(work, check):
    """The release view on three bugreports of two builds, driven by clicks."""
    if "--build" not in run(SIM, "--help").stdout:
        print("release view not checked: this c2info-sim writes no build into a bugreport")
        return
    reports = []
    for scenario, build, taken_at in (
            ("default.json", "lark/tv/dev1:12/SA1/1:user/release-keys", "2026-11-01 10:00:00"),
            ("paused.json", "lark/tv/dev1:12/SA1/1:user/release-keys", "2026-11-01 11:00:00"),
            ("default.json", "lark/tv/dev1:12/SA1/2:user/release-keys", "2026-11-03 09:00:00")):
        report = work / f"release-{len(reports)}.zip"
        made = run(SIM, "--scenario", f"{SCENARIOS}/{scenario}", "--bugreport", str(report),
                   "--build", build, "--taken-at", taken_at)
        check(f"the simulator writes a bugreport of {build}: {made.stderr}", made.returncode == 0)
        reports.append(str(report))
    rows = json.loads(run(TRIAGE, "--json", *reports).stdout)
    by_build = json.loads(run(TRIAGE, "--by-build", "--json", *reports).stdout)
    page = work / "release.html"
    run(TRIAGE, "--html", str(page), *reports)

    options = webdriver.ChromeOptions()
    for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync", "--no-first-run",
                 f"--user-data-dir={work / 'selenium-profile'}"):
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)
    try:
        driver.get(page.as_uri())
        WebDriverWait(driver, 30).until(
            lambda d: d.find_element(By.TAG_NAME, "body").get_attribute("data-ready"))
        check("the release view shows", driver.find_element(By.ID, "release").is_displayed())
        columns = [th.text for th in driver.find_elements(By.CSS_SELECTOR, "#release-builds th")]
        table = [[td.text for td in tr.find_elements(By.TAG_NAME, "td")]
                 for tr in driver.find_elements(By.CSS_SELECTOR, "#release-builds tbody tr")]
        check("the release table's columns are --by-build --json's",
              columns == list(by_build["builds"][0]))
        builds = by_build["builds"]
        check("the release table is --by-build --json's",
              len(table) == len(builds) and all(
                  len(shown) == len(columns) and all(
                      same(cell, row[name]) for cell, name in zip(shown, columns))
                  for shown, row in zip(table, builds)))
        findings = [[td.text for td in tr.find_elements(By.TAG_NAME, "td")]
                    for tr in driver.find_elements(By.CSS_SELECTOR, "#release-findings tbody tr")]
        check("the findings' table is --by-build --json's",
              findings == [[str(value) for value in row.values()] for row in by_build["findings"]])
        check("two builds, oldest first", list(dict.fromkeys(row["build"] for row in builds)) ==
              ["lark/tv/dev1:12/SA1/1:user/release-keys", "lark/tv/dev1:12/SA1/2:user/release-keys"])

        module_cell = driver.find_elements(By.CSS_SELECTOR, "#release-builds td.module")[0]
        module = module_cell.text
        module_cell.click()
        # An owner's module is its name without "owner", whatever its capitals.
        with_module = [row for row in rows
                       if re.sub(r" owner", "", row["owner"], flags=re.I).lower() == module.lower()]
        check(f"a click on {module} shows its streams only",
              [row[0] for row in shown_rows(driver)] == [row["source"] for row in with_module])
        driver.find_element(By.CSS_SELECTOR, "#release-filter button").click()
        check("show all shows every stream again", len(shown_rows(driver)) == len(rows))

        build = driver.find_elements(By.CSS_SELECTOR, "#release-builds td.build")[-1]
        newest = build.text
        build.click()
        check(f"a click on {newest} shows its streams only",
              [row[0] for row in shown_rows(driver)] ==
              [row["source"] for row in rows if row.get("build") == newest])
        driver.find_element(By.CSS_SELECTOR, "#release-filter button").click()

        owner = rows[-1]["owner"]
        Select(driver.find_element(By.ID, "owner-filter")).select_by_value(owner)
        check(f"picking {owner} shows its streams only",
              [row[0] for row in shown_rows(driver)] ==
              [row["source"] for row in rows if row["owner"] == owner])

        # Room for the newest report's streams only: the table holds them,
        # says what it left out, and the counts still cover every stream,
        # those of the older reports that came after it too.
        newest = [row for row in rows if row["source"] == reports[2]]
        capped = work / "capped.html"
        run(TRIAGE, "--html", str(capped), "--page-streams", str(len(newest)), *reversed(reports))
        driver.get(capped.as_uri())
        WebDriverWait(driver, 30).until(
            lambda d: d.find_element(By.TAG_NAME, "body").get_attribute("data-ready"))
        check("a capped page holds the newest report's streams",
              [row[0] for row in shown_rows(driver)] == [reports[2]] * len(newest))
        check("and says how many older ones it left out, and how to get them",
              f"{len(rows) - len(newest)} older streams of 2 inputs" in
              driver.find_element(By.ID, "left-out").text and
              "--page-streams 0" in driver.find_element(By.ID, "left-out").text)
        owner_counts = {tr.find_elements(By.TAG_NAME, "td")[1].text:
                        int(tr.find_elements(By.TAG_NAME, "td")[2].text)
                        for tr in driver.find_elements(By.CSS_SELECTOR, "#owner-counts tr")}
        check("its owner counts cover every stream",
              owner_counts == collections.Counter(row["owner"] for row in rows))
    finally:
        driver.quit()


def main():
    failures = []

    def check(what, ok):
        if not ok:
            failures.append(what)

    work = Path(tempfile.mkdtemp(prefix="triage-page-"))
    inputs = []
    for scenario in ("default.json", "paused.json"):
        report = work / scenario.replace(".json", ".zip")
        run(SIM, "--scenario", f"{SCENARIOS}/{scenario}", "--bugreport", str(report),
            "--build", HOSTILE_BUILD)
        inputs.append(str(report))
    # A session of four dumps a second apart, its component names hostile.
    scenario = json.loads(Path(f"{SCENARIOS}/default.json").read_text())
    scenario["seconds"] = 4
    (work / "short.json").write_text(json.dumps(scenario))
    run(SIM, "--scenario", str(work / "short.json"), "--session", str(work / "session.txt"))
    session = (work / "session.txt").read_text()
    for name, hostile in HOSTILE.items():
        session = session.replace(name, hostile)
    (work / "session<b>.txt").write_text(session)
    (work / "refused.txt").write_text("not a dump\n")
    # Blocks pasted without the generation before: streams younger than a
    # second, with no change over the last second.
    with zipfile.ZipFile(inputs[0]) as report:
        entry = report.read(next(name for name in report.namelist()
                                 if name.startswith("lshal-debug/vendor.larkspan"))).decode()
    (work / "young.txt").write_text(entry[entry.rindex("\n", 0, entry.rindex("] Begin")) + 1:])
    recorded = str(work / "session<b>.txt")
    inputs += [recorded, str(work / "refused.txt"), str(work / "young.txt")]

    rows = json.loads(run(TRIAGE, "--json", *inputs).stdout)
    page = work / "page.html"
    made = run(TRIAGE, "--html", str(page), *inputs)
    check("--html prints nothing and fails as --json does", made.stdout == "" and made.returncode == 1)
    check("the refused input is named on stderr", "refused.txt" in made.stderr)

    chromium = [CHROMIUM, "--headless", "--disable-gpu", "--no-sandbox",
                f"--user-data-dir={work / 'profile'}", "--virtual-time-budget=10000"]
    url = page.as_uri() + "#detail=0"
    dom = run(*chromium, "--dump-dom", url).stdout
    run(*chromium, f"--screenshot={SCREENSHOT}", "--window-size=1400,1800", url)

    tables = Tables()
    tables.feed(dom)
    check("data-ready is set", re.search(r'<body[^>]* data-ready="[0-9.]+"', dom))
    table = [row for row in tables.rows["rows"] if row]
    columns = list(rows[0])
    headers = re.search(r'<table id="rows"><thead><tr>(.*?)</tr>', dom)
    check("the table's headers are --json's keys",
          headers and re.findall(r"<th[^>]*>(.*?)</th>", headers.group(1)) == columns)
    check("the table is --json's rows",
          table == [[text(row[key]) for key in columns] for row in rows])
    owners = collections.Counter(row["owner"] for row in rows)
    check("the owner counts are --json's",
          {owner: int(count) for _, owner, count in tables.rows["owner-counts"]} == owners)
    check("the refused input is listed with its reason",
          [row[0] for row in tables.rows["refused"] if row] == [str(work / "refused.txt")])
    # Three fleet charts, the days' when the inputs span builds (else its section is hidden);
    # per recorded stream three, one for SideBand if it has it, and its band.
    release = re.search(r'<section id="release"( hidden="")?>.*?</section>', dom, re.S)
    visible = dom.replace(release.group(0), "") if release.group(1) else dom
    canvases = re.findall(r"<canvas[^>]*>", visible)
    check("fleet and history charts are there", len(canvases) == 3 + (not release.group(1)) + sum(
        4 + (stream["debug"].get("sideBand", 0) != 0) for stream in scenario["streams"]))
    check("every chart drew", all('data-drawn="true"' in canvas for canvas in canvases))
    detail = re.search(r'<div id="detail">(.*?)</table>', dom, re.S)
    check("#detail=0 opens the first stream's analysis and counters, SideBand's included",
          detail and all(word in detail.group(1) for word in ("decisive", "passed", "queueCnt"))
          and detail.group(1).count("pendingVDEC") == 1)
    # Each analysis line is marked by its kind in the data, never by its text.
    data = json.loads(re.search(r'<script type="application/json" id="data">(.*?)</script>',
                                page.read_text(), re.S).group(1))
    marked = re.search(r'<div class="lines">((?:<div[^>]*>[^<]*</div>)*)', dom)
    shown = re.findall(r'<div(?: class="([^"]*)")?>([^<]*)</div>', marked.group(1) if marked else "")
    expected = []
    for line in data["rows"][0][len(data["columns"]) - len(data["inputColumns"]) + 1]:
        text_index, kind, assumed = data["lines"][line]
        classes = ["incomplete"] if assumed or kind == "undecidable" else (
            ["passed"] if kind == "passed" else [])
        expected.append((" ".join(classes + ["decisive"] * (kind in ("finding", "dispatch"))),
                         html.escape(data["texts"][text_index], quote=False)))
    check("each analysis line is marked by its kind", shown and shown == expected)
    history = re.search(r'<section id="history"([^>]*)>(.*?)</section>', dom, re.S)
    check("the history shows, each band's legend naming the session's last owners",
          history and "hidden" not in history.group(1) and all(
              row["owner"] in history.group(2) for row in rows if row["source"] == recorded))
    young = run(*chromium, "--dump-dom", f"{page.as_uri()}#detail={len(rows) - 1}").stdout
    counters = re.search(r'<table class="counters">(.*?)</table>', young, re.S)
    values = re.findall(r"<tr><td>[^<]*</td><td>([^<]*)</td><td>([^<]*)</td></tr>",
                        counters.group(1) if counters else "")
    check("a stream younger than a second shows its counters without a change",
          values and all(now and not change for now, change in values))
    for hostile in [*HOSTILE.values(), HOSTILE_BUILD]:
        check(f"{hostile} shows as text", html.escape(hostile, quote=False) in dom)
    check("no markup was injected",
          "<img" not in dom and "<b>" not in dom and dom.count("<script") == 3)
    check("no script ran", "<title>c2info triage</title>" in dom)

    check_release(work, check)
    shutil.rmtree(work)
    for failure in failures:
        print(f"FAILED: {failure}")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
