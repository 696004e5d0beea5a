#!/usr/bin/env python3
"""The power goes at every moment of velmorinctl's commands, and takes of each file what was not synced, or some of it."""
import itertools
import os
import re
import sys
from pathlib import Path

from stagedbench import COMMANDS, Bench, campaign, check

TRACED = "openat,write,pwrite64,ftruncate,fsync,fdatasync,rename,renameat2,link,unlink,pipe2"
HEX = r'((?:\\x[0-9a-f]{2})*)'


def text(digits):
    return os.fsdecode(bytes.fromhex(digits.replace("\\x", "")))


class Disk:
    """The files by name, as the calls of a log change them: a file is what it was when it was synced and after each change since."""

    def __init__(self, folder):
        self.folder = str(folder)
        self.names = {path.name: [path.read_bytes()] for path in folder.iterdir()}
        self.synced_names, self.said = dict(self.names), False
        self.own_pipes = set()  # to which a sanitizer writes memory, to see whether it can be read

    def apply(self, call, arguments):
        quoted = [text(digits) for digits in re.findall(f'"{HEX}"', arguments)]
        opened = re.match(rf'\[?\d+<{HEX}>', arguments)
        path = text(opened[1]) if opened else quoted[0]
        folder, name = os.path.split(path)
        versions = self.names.get(name)
        if call == "pipe2":
            self.own_pipes.add(path)
        elif path.startswith("pipe:") and path not in self.own_pipes and not arguments.startswith("2<"):
            self.said = True
        elif call in ("fsync", "fdatasync") and path == self.folder:
            self.synced_names = dict(self.names)
        elif folder != self.folder or (opened and versions is None):
            return
        elif call == "openat" and "O_CREAT" in arguments:
            self.names.setdefault(name, [b""])
        elif call in ("rename", "renameat2"):
            self.names[os.path.basename(quoted[1])] = self.names.pop(name)
        elif call == "link":
            self.names[os.path.basename(quoted[1])] = versions
        elif call == "unlink":
            self.names.pop(name, None)
        elif call in ("fsync", "fdatasync"):
            del versions[:-1]
        elif call == "ftruncate":
            size = int(arguments.split(", ")[1])
            versions.append(versions[-1][:size].ljust(size, b"\0"))
        elif opened:  # a write, which our programs place themselves; exported files are written from their start
            last, new = versions[-1], os.fsencode(quoted[0])
            offset = int(arguments.rsplit(", ", 1)[1]) if call == "pwrite64" else len(last)
            versions.append(last[:offset].ljust(offset, b"\0") + new + last[offset + len(new):])


def states(start, base, rng):
    """(command, said to be done, files) after every prefix of its calls, each different one once."""
    for name in COMMANDS:
        seen = []
        with start.before(name, base) as bench:
            disk = Disk(bench.app)
            log = start.record(name, bench, ["-xx", "-s", "10000000", "-e", f"trace={TRACED}"])
        for call in re.finditer(r"^\d+ +(\w+)\((.*)\) += \d", log, re.MULTILINE):
            disk.apply(*call.groups())
            for names, pick in itertools.product((disk.names, disk.synced_names),
                                                 (lambda versions: versions[0], lambda versions: versions[-1], rng.choice)):
                state = name, disk.said, {name: pick(versions) for name, versions in names.items()}
                if state not in seen:
                    seen.append(state)
                    yield state


def survive(start, base, name, said, files):
    with Bench(start.bench.programs, base) as bench:
        for file, content in files.items():
            Path(bench.app, file).write_bytes(content)
        return check(start, name, bench, said)


sys.exit(campaign(__doc__, states, survive))
