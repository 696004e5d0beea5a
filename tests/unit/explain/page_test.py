"""The page of `velmorinctl explain --html` in a browser without a screen, light and dark: a picture is taken, the
elements that the facts are in are found, and the browser has nothing to complain of.

    page_test.py VELMORINCTL LOG

Exit status 77 without chromium."""
import html.parser
import os
import re
import shutil
import subprocess
import sys
import tempfile
import zlib

WANTED = {"svg.timeline", "rect.phase-data", "rect.group", "path.rate", "g.mark", "table.phases", "table.counts",
          "table.groups", "ul.diagnoses", "section.update"}
TEXTS = ("result 0: success", "link-lost", "08004000")
QUIET = ("--headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking "
         "--disable-component-update --disable-sync --enable-logging=stderr --hide-scrollbars "
         "--window-size=1150,1300 --virtual-time-budget=2000").split()


class Elements(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.found = set()

    def handle_starttag(self, tag, attrs):
        self.found |= {f"{tag}.{name}" for name in dict(attrs).get("class", "").split()}


def brightness(path):
    """The mean of the picture's first row, and its size in bytes: 8 bits a channel, not interlaced."""
    data = open(path, "rb").read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        sys.exit("no picture")
    packed = b"".join(data[m.end():m.end() + int.from_bytes(data[m.start() - 4:m.start()], "big")]
                      for m in re.finditer(b"IDAT", data))
    row = zlib.decompress(packed)[1:4]  # the first pixel, which no filter changes
    return sum(row) / 3, len(data)


def main():
    velmorinctl, log = sys.argv[1:]
    browser = shutil.which("chromium") or shutil.which("chromium-browser")
    if browser is None:
        print("skipped: chromium is not installed")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as folder:
        page = os.path.join(folder, "page.html")
        subprocess.run([velmorinctl, "explain", log, "--html", page], check=True, stdout=subprocess.DEVNULL)

        def browse(*arguments):
            command = [browser, *QUIET, f"--user-data-dir={folder}/profile", *arguments, "file://" + page]
            run = subprocess.run(command, capture_output=True, text=True, timeout=240, check=True)
            complaints = [line for line in run.stderr.splitlines() if ":CONSOLE" in line or "net::ERR" in line]
            if complaints:
                sys.exit("\n".join(complaints))
            return run.stdout

        dom = browse("--dump-dom")
        elements = Elements()
        elements.feed(dom)
        missing = sorted(WANTED - elements.found) + [text for text in TEXTS if text not in dom]
        if missing:
            sys.exit(f"not in the page: {missing}")
        shades = []
        for scheme in ([], ["--blink-settings=preferredColorScheme=0"]):
            picture = os.path.join(folder, f"{len(shades)}.png")
            browse(f"--screenshot={picture}", *scheme)
            shades.append(brightness(picture))
        print("pictures: " + ", ".join(f"{shade:.0f} bright, {size} bytes" for shade, size in shades))
        if not (shades[0][0] > 200 and shades[1][0] < 60 and min(size for _, size in shades) > 20000):
            sys.exit("the pictures are not the page in light and dark")


main()
