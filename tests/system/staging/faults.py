#!/usr/bin/env python3
"""Every storage call of velmorinctl's commands fails, or ends the process: nothing is lost, nothing half done."""
import collections
import random
import re
import shutil
import signal
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from stagedbench import NEXT, Start, check, programs_of

SKIPPED, TIMED_OUT = 77, 124
ON_BUS = {"download", "velmorin"}
ACTIONS = ["signal=SIGKILL"] + [f"error={name}" for name in ("ENOSPC", "EIO", "EROFS", "EMFILE")]


def run(start, base, name, injection=None, log="/dev/null"):
    """The command under strace; how it ended and, for a fault, what came of it."""
    with start.bench_for(name, base) as bench:
        under = ["strace", "-f", "-y", "-o", log]
        if injection:
            under += ["-e", f"trace={injection[0]}", "-e", f"inject={injection[0]}:{injection[1]}"]
        if name == "velmorin":  # its start alone: there is no device
            under = ["timeout", "1", *under]
            words, program = [bench.image_file(NEXT), "e0", "10", "20"], start.bench.programs.velmorin
        else:
            words, program = start.commands()[name][0](bench), None
        device = bench.device("--once", *(["--silent"] if name == "velmorin" else [])) if name in ON_BUS else None
        try:
            ended = bench.ctl(*words, under=under, program=program)
        finally:
            if device:
                device.kill()
                device.wait()
        if injection is None:
            assert ended.returncode == (TIMED_OUT if name == "velmorin" else 0), ended
            return str(bench.root)
        if name == "velmorin" or ended.returncode > 128 or ended.returncode < 0:
            assert abs(ended.returncode) in (TIMED_OUT, signal.SIGKILL, 128 + signal.SIGKILL), ended
        elif ended.returncode != 0:
            assert b"velmorinctl: " in ended.stderr, ended
        return check(start, name, bench, ended.returncode == 0)


def calls(start, base, name):
    """(system call, which one of its kind) of every call that touches the bench's files."""
    with tempfile.NamedTemporaryFile("r", dir=base) as log:
        root = run(start, base, name, log=log.name)
        count = collections.Counter()
        for line in log:
            call = re.match(r"\d+ +(\w+)\(", line)
            if not call:
                continue
            count[call[1]] += 1
            if root in line and not call[1].startswith(("exec", "socket", "connect")) and "UNIX" not in line:
                yield call[1], count[call[1]]


def main():
    parser = programs_of(__doc__)
    parser.add_argument("--sample", type=int, help="so many faults at random instead of all")
    parser.add_argument("--jobs", type=int, default=2, help="faults tried side by side")
    options = parser.parse_args()
    if shutil.which("strace") is None:
        print("strace is missing")
        return SKIPPED
    print(f"VELMORIN_SEED={options.seed}")
    with tempfile.TemporaryDirectory() as base:
        start = Start(options, base)
        faults = [(name, call, f"{action}:when={number}{rest}")
                  for name in [*start.commands(), "velmorin"] for call, number in calls(start, base, name)
                  for action in (ACTIONS if name != "velmorin" else ACTIONS[:1]) for rest in (("", "+") if "error" in action else ("",))]
        print(f"{len(faults)} faults", end="")
        if options.sample:
            faults = random.Random(options.seed).sample(faults, options.sample)
        came_of, broken = collections.Counter(), 0

        def attempt(fault):
            try:
                return "done" if run(start, base, fault[0], fault[1:]) else "undone"
            except Exception as why:  # the next fault is to be tried all the same
                return f"BROKEN {why!r}"

        with ThreadPoolExecutor(options.jobs) as pool:
            for fault, outcome in zip(faults, pool.map(attempt, faults)):
                came_of[fault[0], outcome.split()[0]] += 1
                if outcome.startswith("BROKEN"):
                    broken += 1
                    print(f"\n{' '.join(fault)}: {outcome}", end="")
        print(f", {len(faults)} tried:")
        for (name, outcome), number in sorted(came_of.items()):
            print(f"  {name}: {number} {outcome}")
        return 1 if broken else 0


sys.exit(main())
