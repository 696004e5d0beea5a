#!/usr/bin/env python3
"""The power goes at every moment of velmorinctl's commands, and takes what was not synced, all of it or in part."""
import hashlib
import itertools
import os
import re
import sys
import tempfile
from pathlib import Path

from stagedbench import Bench, campaign, check

SECTOR = 512
TRACED = "openat,write,pwrite64,ftruncate,fsync,fdatasync,rename,renameat2,link,unlink"
HEX = r'((?:\\x[0-9a-f]{2})*)'
CALL = re.compile(r'\d+ +(\w+)\((.*)\) += (\d+)')


def text(digits):
    return bytes.fromhex(digits.replace("\\x", ""))


class Inode:
    """A file's bytes that the disk has, and the changes that it may not have yet."""

    def __init__(self, content=b""):
        self.synced, self.pending = content, []

    def bytes(self, data, rng):
        """`data`: which of the changes are on the disk: "kept", "dropped" or "torn", in sectors."""
        content = bytearray(self.synced)
        for offset, new in self.pending if data != "dropped" else []:
            if new is None:
                content = content[:offset].ljust(offset, b"\0")
                continue
            content = content.ljust(offset + len(new), b"\0")
            at = 0
            while at < len(new):
                end = min(len(new), at + SECTOR - (offset + at) % SECTOR)
                if data == "kept" or rng.random() < 0.5:
                    content[offset + at:offset + end] = new[at:end]
                at = end
        return bytes(content)

    def sync(self):
        self.synced, self.pending = self.bytes("kept", None), []


class Disk:
    """The folder of the staging file, and what is said on standard output, as the calls of a log change them."""

    def __init__(self, folder):
        self.folder = str(folder)
        self.names = {path.name: Inode(path.read_bytes()) for path in folder.iterdir() if path.is_file()}
        self.synced_names, self.said = dict(self.names), False

    def name(self, path):
        path = os.fsdecode(path)
        return path[len(self.folder) + 1:] if path.startswith(self.folder + "/") else None

    def apply(self, call, arguments):
        """False for a call that is none of ours."""
        strings = [text(digits) for digits in re.findall(f'"{HEX}"', arguments)]
        paths = [self.name(path) for path in strings]
        opened = re.match(rf'\d+<{HEX}>', arguments)
        at = text(opened[1]) if opened else b""
        inode = self.names.get(self.name(at)) if opened else None
        if call == "openat" and paths[0] and "O_CREAT" in arguments:
            self.names.setdefault(paths[0], Inode())
        elif call == "openat" or (call == "write" and at.endswith(b"/said")):
            self.said = self.said or call == "write"
        elif call in ("rename", "renameat2") and paths[0]:
            self.names[paths[1]] = self.names.pop(paths[0])
        elif call == "link" and paths[0]:
            self.names[paths[1]] = self.names[paths[0]]
        elif call == "unlink" and paths[0]:
            self.names.pop(paths[0], None)
        elif call in ("fsync", "fdatasync") and os.fsdecode(at) == self.folder:
            self.synced_names = dict(self.names)
        elif inode is None:
            return False
        elif call in ("fsync", "fdatasync"):
            inode.sync()
        elif call == "ftruncate":
            inode.pending.append((int(arguments.split(", ")[1]), None))
        else:  # a write, which our programs place themselves; exported files are written from their start
            offset = int(arguments.rsplit(", ", 1)[1]) if call == "pwrite64" else len(inode.bytes("kept", None))
            inode.pending.append((offset, strings[0]))
        return True

    def after(self, names, data, rng):
        """Name and content of every file that is found when the power is back."""
        if names == "torn":
            changed = set(self.names.items()) ^ set(self.synced_names.items())
            gone = {name for name, _ in changed if rng.random() < 0.5}
            here = {n: i for n, i in self.synced_names.items() if n not in gone}
            here.update({n: i for n, i in self.names.items() if n not in {c for c, _ in changed} or n in gone})
        else:
            here = self.names if names == "kept" else self.synced_names
        return {name: inode.bytes(data, rng) for name, inode in here.items()}


def record(start, base, name):
    """The calls of an undisturbed run, and the folder that it began with."""
    with start.bench_for(name, base) as bench, tempfile.NamedTemporaryFile("r", dir=base) as log:
        device = bench.device("--once") if name == "download" else None
        disk = Disk(bench.app)
        under = ["strace", "-f", "-y", "-xx", "-s", "10000000", "-e", f"trace={TRACED}", "-o", log.name]
        ended = bench.ctl(*start.commands()[name][0](bench), under=under)
        if device:
            device.wait()
        assert ended.returncode == 0, ended.stderr
        return disk, [(match[1], match[2]) for match in map(CALL.match, log) if match]


def states(start, base, rng):
    """(command, said to be done, files) after every prefix of its calls, each different one once."""
    for name in start.commands():
        disk, calls = record(start, base, name)
        seen = set()
        for call, arguments in [(None, None), *calls]:
            if call is not None and not disk.apply(call, arguments):
                continue
            for names, data in itertools.product(("kept", "dropped", "torn"), repeat=2):
                files = disk.after(names, data, rng)
                key = hashlib.sha256(repr((disk.said, sorted(files.items()))).encode()).digest()
                if key not in seen:
                    seen.add(key)
                    yield name, disk.said, files


def survive(start, base, name, said, files):
    with Bench(start.bench.programs, base) as bench:
        for file, content in files.items():
            Path(bench.app, file).write_bytes(content)
        return check(start, name, bench, said)


sys.exit(campaign(__doc__, states, survive))
