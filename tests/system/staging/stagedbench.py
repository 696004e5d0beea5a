"""A staging file on a bench of its own, the commands that work on it, and what has to hold whatever befell them."""
import argparse
import collections
import contextlib
import json
import os
import random
import shutil
import sqlite3
import subprocess
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

FIRST, THIRD, NEXT, FRESH = b"first image", bytes(range(256)) * 5, b"the next image" * 9, b"a fresh image"
COMMANDS = ["stage", "first stage", "close", "clean", "clean --all", "export", "download"]
JOBS = "SELECT timestamp,state,result,name LIKE '%/image%',chargeaddress,filesize,crcA,crcB FROM tag_history ORDER BY id"
ROWS = """SELECT savestamp,state,address,canid,count,crc32A,crc32B FROM tag_infor
          UNION ALL SELECT savestamp,state,address,canid,dataid,datalen,data FROM tag_data"""


class Bench:
    """A bench folder; a copy of another one's staging file to begin with, if given."""

    def __init__(self, programs, base, of=None):
        self.programs, self.root = programs, Path(tempfile.mkdtemp(dir=base))
        self.app = self.root / "mnt/nandflash/app"
        self.file, self.exported = self.app / "chargeupdate.db", self.app / "exported"
        self.app.mkdir(parents=True)
        if of is not None:
            shutil.copy(of.file, self.file)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.root, ignore_errors=True)

    def ctl(self, *words, under=(), program=None):
        """Runs velmorinctl, or that program."""
        return subprocess.run([*under, program or self.programs.ctl, *words], capture_output=True, timeout=200, check=False,
                              env={**os.environ, "VELMORIN_BENCH": str(self.root)})

    def stage_words(self, image):
        path = self.root / f"image{len(image)}"
        path.write_bytes(image)
        return ["stage", str(path), "--charge", "e0", "--device", "10", "--update", "20", "--json"]

    def stage(self, image):
        """The timestamp of the new job."""
        done = self.ctl(*self.stage_words(image))
        assert done.returncode == 0, done.stderr
        return json.loads(done.stdout)["job"]

    def device(self, *options):
        """A simulated device that is ready."""
        device = subprocess.Popen([self.programs.sim, "--bench", str(self.root), *options], stdout=subprocess.PIPE,
                                  stderr=subprocess.DEVNULL)
        device.stdout.readline()
        return device

    def read(self):
        """Every job with what is staged of it, whatever its second; how many rows belong to no job; the exported image."""
        exported = self.exported.read_bytes() if self.exported.exists() else None
        if not self.file.exists():
            return [], 0, exported
        with contextlib.closing(sqlite3.connect(self.file, timeout=20)) as db:
            assert db.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
            jobs, rows = db.execute(JOBS).fetchall(), db.execute(ROWS).fetchall()
        staged = [(job[1:], [row[1:] for row in rows if row[0] == job[0]]) for job in jobs]
        return staged, len(rows) - sum(len(rows) for _, rows in staged), exported


class Start:
    """The queue that every command begins with: two open jobs, a closed one, and rows that belong to none."""

    def __init__(self, programs, base):
        self.bench, self.undone, self.done = Bench(programs, base), {}, {}
        self.first, second, _ = (self.bench.stage(image) for image in (FIRST, b"second", THIRD))
        assert self.bench.ctl("close", str(second)).returncode == 0
        with contextlib.closing(sqlite3.connect(self.bench.file)) as db:
            db.executescript("INSERT INTO tag_infor(savestamp) VALUES(5); INSERT INTO tag_data(savestamp) VALUES(5)")

    def before(self, name, base):
        """A bench as the command finds it."""
        return Bench(self.bench.programs, base, None if name == "first stage" else self.bench)

    def run(self, name, bench, under):
        """Runs a command; how it ended."""
        words = {"close": ["close", str(self.first)], "export": ["export", str(bench.exported)],
                 "download": ["download", "--pace", "max"], "stage": bench.stage_words(NEXT),
                 "first stage": bench.stage_words(NEXT)}.get(name, name.split())
        device = bench.device("--once") if name == "download" else None
        try:
            return bench.ctl(*words, under=["strace", "-f", "-y", *under])
        finally:
            if device:
                device.kill()
                device.wait()

    def record(self, name, bench, under):
        """The same undisturbed, which has to go well; its log."""
        with tempfile.NamedTemporaryFile("r", dir=bench.root.parent) as log:
            self.undone[name] = bench.read()
            ended = self.run(name, bench, ["-o", log.name, *under])
            assert ended.returncode == 0, ended.stderr
            self.done[name] = bench.read()
            assert self.done[name] != self.undone[name]
            return log.read()


def check(start, name, bench, said_done):
    """Whole or not at all, and done if it was said to be; then the queue is emptied and a fresh image goes through."""
    now = bench.read()
    done = now == start.done[name]
    assert done or now == start.undone[name], f"neither done nor undone: {now}"
    assert done or not said_done, "said to be done"

    cleaned = bench.ctl("clean", "--all")
    assert cleaned.returncode == 0, cleaned.stderr
    bench.stage(FRESH)
    bench.exported.unlink(missing_ok=True)
    ended = bench.ctl("export", str(bench.exported))
    assert ended.returncode == 0 and bench.exported.read_bytes() == FRESH, ended.stderr
    return done


def options(description, **more):
    """What the command line says: the programs, the seed, and further numbers with their defaults."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--seed", type=int, default=os.environ.get("VELMORIN_SEED") or int.from_bytes(os.urandom(4), "big"))
    for program in ("ctl", "velmorin", "sim"):
        parser.add_argument("--" + program, required=True)
    for name, default in more.items():
        parser.add_argument("--" + name, type=int, default=default)
    given = parser.parse_args()
    print(f"VELMORIN_SEED={given.seed}")
    return given


def campaign(description, cases_of, attempt):
    """Tries every case, or a sample; each begins with its command's name. The exit status; 77 without strace."""
    given = options(description, sample=0, jobs=2)
    if shutil.which("strace") is None:
        print("strace is missing")
        return 77
    with tempfile.TemporaryDirectory() as base:
        start, rng = Start(given, base), random.Random(given.seed)
        cases = list(cases_of(start, base, rng))
        tried = rng.sample(cases, given.sample) if given.sample else cases

        def outcome(case):
            try:
                return "done" if attempt(start, base, *case) else "undone"
            except Exception as why:  # the next case is to be tried all the same
                print(f"{str(case)[:200]}: {why!r}", flush=True)
                return "BROKEN"

        with ThreadPoolExecutor(given.jobs) as pool:
            came_of = collections.Counter(zip((case[0] for case in tried), pool.map(outcome, tried)))
        print(f"{len(tried)} of {len(cases)} tried: {dict(came_of)}")
        return 1 if any(what == "BROKEN" for _, what in came_of) else 0
