#!/usr/bin/env python3
"""Every storage call of velmorinctl's commands fails, or ends the process: nothing is lost, nothing half done."""
import collections
import re
import signal
import sys
import tempfile

from stagedbench import COMMANDS, NEXT, campaign, check

TIMED_OUT = 124  # of timeout(1)
ON_BUS = {"download", "velmorin"}


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
            words, program = start.words(name, bench), None
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


def faults(start, base, _):
    for name in [*COMMANDS, "velmorin"]:
        for call, number in calls(start, base, name):
            yield name, (call, f"signal=SIGKILL:when={number}")
            for error in ("ENOSPC", "EIO", "EROFS", "EMFILE") if name != "velmorin" else ():
                yield name, (call, f"error={error}:when={number}")
                yield name, (call, f"error={error}:when={number}+")


sys.exit(campaign(__doc__, faults, run))
