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

TIME_LIMIT = 150  # seconds for one command
EVERYWHERE = [("! ", f"{program}: on the bench in BENCH") for program in ("velmorinctl", "velmorin")]
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
mkdir -p mnt/nandflash/app mnt/nandflash/download
umask 022
"""


class Shell:
    """One bash in a new bench. Both its outputs reach one socket, in order, each by the address of its sender."""

    def __init__(self, bench, folders):
        self.bench = bench
        self.ear = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.ear.bind("")
        self.ear.settimeout(TIME_LIMIT)
        out, err, self.status = (self.mouth() for _ in range(3))
        self.prefixes = {out.getsockname(): "  ", err.getsockname(): "! "}
        path = os.pathsep.join(folders) + os.pathsep + os.environ["PATH"]
        self.bash = subprocess.Popen(
            ["bash", "--norc"], cwd=bench, stdin=subprocess.PIPE, stdout=out, stderr=err, text=True,
            pass_fds=[self.status.fileno()], start_new_session=True,
            env={**os.environ, "PATH": path, "VELMORIN_BENCH": bench, "TZ": "UTC", "LC_ALL": "C", "TERM": "dumb"})
        self.names = {}
        self.run(PRELUDE)

    def mouth(self):
        sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        sender.bind("")
        sender.connect(self.ear.getsockname())
        return sender

    def run(self, command):
        """What came of it, as the lines of a recording."""
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
        text = self.normal(data.decode(errors="backslashreplace"))
        if not text.endswith("\n"):
            text += " (no line end)"
        visible = {code: chr(0x2400 + code) for code in range(32) if code != 10}
        lines = text.removesuffix("\n").translate(visible).split("\n")
        return [prefix + line if line else prefix.rstrip() for line in lines if (prefix, line) not in EVERYWHERE]

    def named(self, kind, value):
        """JOB1 for the first one: one name is one value all through the recording."""
        names = self.names.setdefault(kind, {})
        return f"{kind}{names.setdefault(value, len(names) + 1)}"

    def normal(self, text):
        """Without what no two runs have alike. Numbers that happen to be 0 stay."""
        def second(match):
            value = int(match[0]) if match[0].isdigit() else calendar.timegm(
                time.strptime(match[1] + match[2], "%Y-%m-%d%H:%M:%S"))
            if abs(value - time.time()) > 86400:
                return match[0]
            name = self.named("JOB", value)
            return name if match[0].isdigit() else name.replace("JOB", "TIME")

        text = text.replace(self.bench, "BENCH")
        text = re.sub(r"(?<=Compile Date: )\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$", "DATE", text, flags=re.M)
        text = re.sub(r"\b\d{10}\b|(\d{4}-\d\d-\d\d)[ T](\d\d:\d\d:\d\d)(?:\+0000)?", second, text)
        text = re.sub(r'(?<=process )\d+|(?<=pid )\d+|(?<="updater":)\d+', lambda m: self.named("PID", m[0]), text)
        text = re.sub(r'("(?:rate|eta_s|duration_s)":)(?!0\.0\b)\d[\d.e+-]*', r"\1N", text)
        text = re.sub(r'("(?:t|queue_waits)":|time use = )[\d.e-]+', r"\1N", text)
        text = re.sub(r"(?m)^(.*TIME\d.*?) *(?!0\.000)\d+\.\d{3} s  ", r"\1   N.NNN s  ", text)
        text = re.sub(r"\b[1-9]\d* B/s", "N B/s", text)
        return re.sub(r"(?<= in )\d+:\d\d(?= \()|(?:\d+:\d\d|-:--)(?= left)|(?<![\d:])\d+:\d\d(?=  \w)", "M:SS", text)


def play(recorded, shell):
    played, command = [], ""
    for line, before, after in zip(recorded, [""] + recorded, recorded[1:] + [""]):
        if line[:1] not in ("#", "$", ">"):
            continue
        if played and not before:
            played.append("")
        played.append(line)
        if line[0] != "#":
            command += line[2:] + "\n"
            if not after.startswith("> "):
                played += shell.run(command)
                command = ""
    return played


def main(path, *folders):
    with open(path, encoding="utf-8") as file:
        recorded = file.read().splitlines()
    with tempfile.TemporaryDirectory(prefix="velmorin-", ignore_cleanup_errors=True) as bench:
        os.chmod(bench, 0o755)  # some programs are run as nobody
        shell = Shell(bench, folders)
        try:
            played = play(recorded, shell)
        finally:
            os.killpg(shell.bash.pid, signal.SIGKILL)
    differences = list(difflib.unified_diff(recorded, played, path, "played", lineterm=""))
    print(*differences, sep="\n")
    if differences and os.environ.get("VELMORIN_TRANSCRIPTS") == "write":
        with open(path, "w", encoding="utf-8") as file:
            file.write("\n".join(played) + "\n")
    return 1 if differences else 0


sys.exit(main(*sys.argv[1:]))
