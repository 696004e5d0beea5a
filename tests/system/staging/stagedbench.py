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
ALONE = {"first stage", "velmorin"}  # begin without a staging file
ORPHANS = 5  # rows of a second that no job has
HISTORY = "SELECT id,state,name,chargeaddress,filesize,result,crcA,crcB,timestamp FROM tag_history ORDER BY id"


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

    def image_file(self, image):
        path = self.root / f"image{len(image)}"
        path.write_bytes(image)
        return str(path)

    def stage_words(self, image):
        return ["stage", self.image_file(image), "--charge", "e0", "--device", "10", "--update", "20", "--json"]

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
        """Every job's row by its second, and the rows that are staged under each second."""
        if not self.file.exists():
            return {}, {}
        rows = collections.defaultdict(list)
        with contextlib.closing(sqlite3.connect(self.file, timeout=20)) as db:
            assert db.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
            jobs = {row[-1]: row[:-1] for row in db.execute(HISTORY)}
            for table in ("tag_infor", "tag_data"):
                for row in db.execute(f"SELECT * FROM {table} ORDER BY id"):
                    rows[row[-1]].append(row)
        return jobs, dict(rows)


def closed(state, seconds, result):
    """What `state` becomes when these jobs are closed."""
    jobs, rows = state
    jobs = {second: (row[0], 1, *row[2:5], result, *row[6:]) if second in seconds else row for second, row in jobs.items()}
    return jobs, {second: staged for second, staged in rows.items() if second not in seconds}


class Start:
    """The queue that every command begins with: two open jobs, a closed one, and rows that belong to none."""

    def __init__(self, programs, base):
        self.bench = Bench(programs, base)
        self.first, second, self.third = (self.bench.stage(image) for image in (FIRST, b"second", THIRD))
        assert self.bench.ctl("close", str(second)).returncode == 0
        with contextlib.closing(sqlite3.connect(self.bench.file)) as db:
            db.executescript(f"INSERT INTO tag_infor(savestamp) VALUES({ORPHANS}); INSERT INTO tag_data(savestamp) VALUES({ORPHANS})")
        self.state = self.bench.read()

    def words(self, name, bench):
        return {"close": ["close", str(self.first)], "export": ["export", str(bench.exported)],
                "download": ["download", "--pace", "max"]}.get(name) or \
            (bench.stage_words(NEXT) if "stage" in name else name.split())

    def after(self, name):
        """What the queue is then; None where a job is added."""
        jobs, rows = self.state
        return {"close": closed(self.state, [self.first], 13), "download": closed(self.state, [self.first], 0),
                "clean": (jobs, {second: staged for second, staged in rows.items() if second != ORPHANS}),
                "clean --all": closed((jobs, {}), [self.first, self.third], 13), "export": self.state}.get(name)

    def bench_for(self, name, base):
        return Bench(self.bench.programs, base, None if name in ALONE else self.bench)


def check(start, name, bench, said_done):
    """Whole or not at all, and done if it was said to be; then the queue is emptied and a fresh image goes through."""
    before = ({}, {}) if name in ALONE else start.state
    expected, now = start.after(name), bench.read()
    if expected is None:
        added = now[0].keys() - before[0].keys()
        done = len(added) == 1
        assert len(added) <= 1 and now[0] | before[0] == now[0], "jobs differ"
        assert name == "velmorin" or all(image_of(now[1][second]) == NEXT for second in added), "the new job is not whole"
        assert {second: rows for second, rows in now[1].items() if second not in added} == before[1], "rows differ"
    elif name == "export":
        done = bench.exported.exists()
        assert now == before, "exporting changed the queue"
        assert not done or bench.exported.read_bytes() == FIRST, "exported in part"
    else:
        done = now == expected
        assert done or now == before, f"neither done nor undone: {now[0]}"
    assert done or not said_done, "said to be done"

    cleaned = bench.ctl("clean", "--all")
    assert cleaned.returncode == 0, cleaned.stderr
    bench.stage(FRESH)
    bench.exported.unlink(missing_ok=True)
    ended = bench.ctl("export", str(bench.exported))
    assert ended.returncode == 0 and bench.exported.read_bytes() == FRESH, ended.stderr
    return done


def image_of(rows):
    """The image bytes of a job's packets."""
    packets = [row for row in rows if len(str(row[6])) == 16]
    return b"".join(bytes.fromhex(row[6])[4:row[5]] for row in packets)


def options(description, **more):
    """What the command line says: the programs, the seed, and further numbers with their defaults."""
    parser = argparse.ArgumentParser(description=description)
    for program in ("ctl", "velmorin", "sim"):
        parser.add_argument("--" + program, required=True)
    seed = int(os.environ.get("VELMORIN_SEED") or int.from_bytes(os.urandom(4), "big"))
    for name, default in {"seed": seed, **more}.items():
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
