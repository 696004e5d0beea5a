"""The page of `velmorinctl explain --html` in a browser without a screen: the elements that the facts are in are
found, and the browser has nothing to complain of.

    page_test.py VELMORINCTL LOG

Exit status 77 without chromium."""
import html.parser
import os
import shutil
import subprocess
import sys
import tempfile

WANTED = {"svg.timeline", "rect.phase-data", "rect.group", "path.rate", "g.mark", "table.phases", "table.counts",
          "table.groups", "ul.diagnoses", "section.update"}
TEXTS = ("result 0: success", "link-lost", "08004000")
QUIET = ("--headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking "
         "--disable-component-update --disable-sync --enable-logging=stderr --virtual-time-budget=2000").split()


class Elements(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.found = set()

    def handle_starttag(self, tag, attrs):
        self.found |= {f"{tag}.{name}" for name in dict(attrs).get("class", "").split()}


def main():
    velmorinctl, log = sys.argv[1:]
    browser = shutil.which("chromium") or shutil.which("chromium-browser")
    if browser is None:
        print("skipped: chromium is not installed")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as folder:
        page = os.path.join(folder, "page.html")
        subprocess.run([velmorinctl, "explain", log, "--html", page], check=True, stdout=subprocess.DEVNULL)

        command = [browser, *QUIET, f"--user-data-dir={folder}/profile", "--dump-dom", "file://" + page]
        run = subprocess.run(command, capture_output=True, text=True, timeout=240, check=True)
    complaints = [line for line in run.stderr.splitlines() if ":CONSOLE" in line or "net::ERR" in line]
    elements = Elements()
    elements.feed(run.stdout)
    missing = sorted(WANTED - elements.found) + [text for text in TEXTS if text not in run.stdout]
    if missing or complaints:
        sys.exit(f"not in the page: {missing}\n" + "\n".join(complaints))


main()
