"""The page of `velmorinctl explain --html` in a browser without a screen, light and dark: a picture is taken, the
elements that the facts are in are found, and the browser has nothing to complain of.

    page_test.py VELMORINCTL LOG

Exit status 77 without chromium."""
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


def browse(folder, *arguments):
    command = [browser, *QUIET, f"--user-data-dir={folder}/profile", *arguments, f"file://{folder}/page.html"]
    run = subprocess.run(command, capture_output=True, text=True, timeout=240, check=True)
    complaints = [line for line in run.stderr.splitlines() if ":CONSOLE" in line or "net::ERR" in line]
    if complaints:
        sys.exit("\n".join(complaints))
    return run.stdout


def picture(folder, *scheme):
    """The brightness of the page's corner, and the picture's size in bytes: 8 bits a channel, not interlaced."""
    browse(folder, f"--screenshot={folder}/page.png", *scheme)
    data = open(f"{folder}/page.png", "rb").read()
    packed = b"".join(data[m.end():m.end() + int.from_bytes(data[m.start() - 4:m.start()], "big")]
                      for m in re.finditer(b"IDAT", data))
    return sum(zlib.decompress(packed)[1:4]) / 3, len(data)  # the first pixel, which no filter changes


browser = shutil.which("chromium") or shutil.which("chromium-browser")
if browser is None:
    print("skipped: chromium is not installed")
    sys.exit(77)
with tempfile.TemporaryDirectory() as folder:
    subprocess.run([sys.argv[1], "explain", sys.argv[2], "--html", f"{folder}/page.html"], check=True)
    dom = browse(folder, "--dump-dom")
    found = {f"{tag}.{name}" for tag, all in re.findall(r'<(\w+)[^>]* class="([^"]+)"', dom) for name in all.split()}
    missing = sorted(WANTED - found) + [text for text in TEXTS if text not in dom]
    light, dark = picture(folder), picture(folder, "--blink-settings=preferredColorScheme=0")
print(f"light {light}, dark {dark}: brightness and size; not in the page: {missing}")
sys.exit(bool(missing or light[0] <= 200 or dark[0] >= 60 or min(light[1], dark[1]) <= 20000))
