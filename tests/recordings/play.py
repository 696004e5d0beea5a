#!/usr/bin/python3
# Plays a recorded terminal session on a bench of its own and compares it to the letter:  play.py RECORDING FOLDER...
# The folders hold the programs. In a recording, "$ " begins a command for bash, "> " goes on with it, "  " stands
# before what it printed, "! " before what it told standard error but for the line that every program begins with, and
# its exit status follows when it is not 0: "[3]". Lines with "#" are the author's.
# With VELMORIN_TRANSCRIPTS=write a recording that differs is written anew, to be read.
import calendar
import difflib
import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path

TIME_LIMIT = 150  # seconds for one command
BEGINNINGS = ("! velmorin: on the bench in BENCH", "! velmorinctl: on the bench in BENCH")
SECOND = re.compile(r"\b\d{10}\b|(?<!Compile Date: )(\d{4}-\d\d-\d\d)[ T](\d\d:\d\d:\d\d)(?:\+0000)?")
PROCESS = re.compile(r'(?<=process )\d+|(?<=pid )\d+|(?<="updater":)\d+')
MEASURED = [  # numbers that no two runs have alike, and what stands for them; what is 0 stays
    (r"(Compile Date: )\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$", r"\1DATE"),
    (r'("(?:t|queue_waits)":|time use = )[\d.e-]+', r"\1N"),
    (r'("(?:rate|eta_s|duration_s)":)(?!0\.0\b)\d[\d.e+-]*', r"\1N"),
    (r"\b[1-9]\d* B/s", "N B/s"),
    (r"(TIME\d.*?) *(?!0\.000)\d+\.\d{3} s  ", r"\1   N.NNN s  "),
    (r"(?<= in )\d+:\d\d(?= \()|(?:\d+:\d\d|-:--)(?= left)|(?<![\d:])\d+:\d\d(?=  \w)", "M:SS")]
VISIBLE = {code: chr(0x2400 + code) for code in range(32)}
PRELUDE = r"""
staging=mnt/nandflash/app/chargeupdate.db
until_says() {  # FILE TEXT
    for ((i = 0; i < 1200; i++)); do grep -qsF -e "$2" "$1" && return; sleep 0.05; done
    echo "$1 does not say: $2" && cat "$1"
}
device() {  # OPTION...; what reaches it is in the file received, its process in $device
    rm -f device.out; velmorin-sim --bench "$VELMORIN_BENCH" --save received "$@" >device.out 2>device.err & device=$!
    until_says device.out ready
}
sql() {  # STATEMENT...
    /usr/bin/python3 -c 'import sqlite3, sys
file = sqlite3.connect(sys.argv[1], isolation_level=None)
for statement in sys.argv[2:]:
    for row in file.execute(statement): print(*row, sep="|")' $staging "$@"
}
umask 022; mkdir -p mnt/nandflash/app mnt/nandflash/download
"""


def sender_to(ear):
    sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    sender.bind("")
    sender.connect(ear.getsockname())
    return sender


class Shell:
    """One bash on a new bench. Both its outputs reach one socket, in order, each by the address of its sender."""

    def __init__(self, bench, folders):
        self.bench, self.known = bench, {}
        self.ear = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.ear.bind("")
        self.ear.settimeout(TIME_LIMIT)
        out, err, self.status = (sender_to(self.ear) for _ in range(3))
        self.prefixes = {out.getsockname(): "  ", err.getsockname(): "! "}
        self.bash = subprocess.Popen(
            ["bash", "--norc"], cwd=bench, stdin=subprocess.PIPE, stdout=out, stderr=err, text=True,
            pass_fds=[self.status.fileno()], start_new_session=True,
            env={**os.environ, "PATH": ":".join([*folders, os.environ["PATH"]]), "VELMORIN_BENCH": bench,
                 "TZ": "UTC", "LC_ALL": "C", "TERM": "dumb"})
        self.run(PRELUDE)

    def run(self, command):
        """What comes of it, as the lines of a recording."""
        self.bash.stdin.write(f"{{ {command}\n}} </dev/null; echo $? >&{self.status.fileno()}\n")
        self.bash.stdin.flush()
        said, status = [], None
        while status is None:
            try:
                data, sender = self.ear.recvfrom(1 << 20)
            except TimeoutError:
                sys.exit(f"no end within {TIME_LIMIT} s: {command}{said}")
            if sender not in self.prefixes:
                status = int(data)
            elif said and said[-1][0] == self.prefixes[sender]:
                said[-1][1] += data
            else:
                said.append([self.prefixes[sender], data])
        return [line for part in said for line in self.lines(*part)] + [f"[{status}]"] * (status != 0)

    def lines(self, prefix, data):
        text = data.decode(errors="backslashreplace")
        text = text.removesuffix("\n") if text.endswith("\n") else text + " (no line end)"
        lines = [prefix + self.normal(line) if line else prefix.rstrip() for line in text.split("\n")]
        return [line for line in lines if line not in BEGINNINGS]

    def normal(self, line):
        line = line.replace(self.bench, "BENCH").translate(VISIBLE)
        line = SECOND.sub(self.second, line)
        line = PROCESS.sub(lambda match: f"PID{self.number('process', match[0])}", line)
        for pattern, name in MEASURED:
            line = re.sub(pattern, name, line)
        return line

    def second(self, match):
        day, hour = match.groups()
        at = calendar.timegm(time.strptime(f"{day} {hour}", "%Y-%m-%d %H:%M:%S")) if day else int(match[0])
        if abs(at - time.time()) > 86400:
            return match[0]
        return f"{'TIME' if day else 'JOB'}{self.number('second', at)}"

    def number(self, kind, value):
        """1 for the first one of its kind: one number is one value all through a recording."""
        known = self.known.setdefault(kind, {})
        return known.setdefault(value, 1 + len(known))


def play(recorded, shell):
    played = []
    for part in re.findall(r"(?m)^#.*|^\$ .*(?:\n> .*)*|^$(?=\n[#$])", recorded):
        played += part.split("\n")
        if part.startswith("$"):
            played += shell.run(re.sub(r"(?m)^[$>] ", "", part))
    return played


def main(path, *folders):
    recorded = Path(path).read_text(encoding="utf-8")
    with tempfile.TemporaryDirectory(prefix="velmorin-", ignore_cleanup_errors=True) as bench:
        os.chmod(bench, 0o755)  # some programs are run as nobody
        shell = Shell(bench, folders)
        try:
            played = play(recorded, shell)
        finally:
            os.killpg(shell.bash.pid, signal.SIGKILL)
            shell.bash.wait()
    differences = list(difflib.unified_diff(recorded.splitlines(), played, path, "played", lineterm=""))
    print(*differences, sep="\n")
    if differences and os.environ.get("VELMORIN_TRANSCRIPTS") == "write":
        Path(path).write_text("\n".join(played) + "\n", encoding="utf-8")
    return bool(differences)


sys.exit(main(*sys.argv[1:]))
