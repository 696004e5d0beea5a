#!/usr/bin/env python3
"""Every storage call of velmorinctl's commands fails, or ends the process: nothing is lost, nothing half done."""
import collections
import re
import signal
import sys

from stagedbench import COMMANDS, campaign, check


def faults(start, base, _):
    """(command, system call, fault, of which ones of its kind) for every call that touches the bench's files."""
    for name in COMMANDS:
        with start.before(name, base) as bench:
            log, count = start.record(name, bench, []), collections.Counter()
        for line in log.splitlines():
            call = re.match(r"\d+ +(\w+)\(", line)
            if not call:
                continue
            count[call[1]] += 1
            if str(bench.root) in line and not call[1].startswith(("exec", "socket", "connect")) and "UNIX" not in line:
                yield name, call[1], "signal=SIGKILL", count[call[1]]
                for error in ("ENOSPC", "EIO", "EROFS", "EMFILE"):
                    yield name, call[1], f"error={error}", count[call[1]]
                    yield name, call[1], f"error={error}", f"{count[call[1]]}+"


def survive(start, base, name, call, fault, which):
    with start.before(name, base) as bench:
        ended = start.run(name, bench, ["-o", "/dev/null", "-e", f"trace={call}", "-e", f"inject={call}:{fault}:when={which}"])
        if ended.returncode < 0 or ended.returncode > 128:
            assert abs(ended.returncode) in (signal.SIGKILL, 128 + signal.SIGKILL), ended
        else:
            assert ended.returncode == 0 or b"velmorinctl: " in ended.stderr, ended
        return check(start, name, bench, ended.returncode == 0)


sys.exit(campaign(__doc__, faults, survive))
