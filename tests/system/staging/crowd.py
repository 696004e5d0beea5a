#!/usr/bin/env python3
"""Commands of every kind at once on one staging file, at random moments: nothing is lost and no job is done twice."""
import json
import random
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

from stagedbench import Bench, options

# Exit statuses that may come; 3: no job is open any more, or it is closed already.
MAY_COME = {"stage": {0}, "clean": {0}, "close": {0, 3, 9}, "download": {0, 1, 3, 5, 6, 7, 8, 9}}


class Crowd:
    def __init__(self, bench, seed):
        self.bench, self.rng, self.faults = bench, random.Random(seed), []
        self.staged, self.closed, self.succeeded = {}, [], []

    def call(self, *words):
        """Runs a command; the objects that it printed, if it went well."""
        done = self.bench.ctl(*words)
        if done.returncode not in MAY_COME[words[0]]:
            self.faults.append(f"{done}")
        return [json.loads(line) for line in done.stdout.splitlines() if line.startswith(b"{")]

    def stage(self, number):
        image = bytes([number]) * (1 + 37 * number)
        for job in self.call(*self.bench.stage_words(image)):
            if self.staged.setdefault(job["job"], image) != image:
                self.faults.append(f"two jobs of second {job}")

    def download(self, _):
        self.succeeded += [event["job"] for event in self.call("download", "--pace", "max", "--patience", "5", "--json")
                           if event["event"] == "end" and event["status"] == 0]

    def close(self, _):
        job = self.rng.choice(sorted(self.staged) or [1])
        if self.bench.ctl("close", str(job)).returncode == 0:
            self.closed.append(job)

    def velmorin(self, _):
        """For a device that is silent, until a signal ends it."""
        ended = self.bench.ctl(str(self.bench.root / "station"), "e1", "10", "20", program=self.bench.programs.velmorin,
                               under=["timeout", "--preserve-status", "1"])
        if ended.returncode != 143:
            self.faults.append(f"{ended}")

    def run(self, number, seconds):
        """So many of each kind, within so many seconds, and waits for the last one."""
        kinds = [self.stage, self.download, self.close, self.velmorin, lambda _: self.call("clean")] * number
        moments = [self.rng.random() * seconds for _ in kinds]

        def once(moment, kind, image):
            time.sleep(moment)
            kind(image)

        with ThreadPoolExecutor(len(kinds)) as pool:
            list(pool.map(once, moments, kinds, range(1, len(kinds) + 1)))

    def judge(self, number):
        jobs = {job["timestamp"]: job for job in json.loads(self.bench.ctl("jobs", "--json").stdout)}
        station = {second for second, job in jobs.items() if job["image"].endswith("station")}
        for second in self.staged.keys() - station:  # velmorin does not look whether its second is taken, and closes all of it
            state, result = jobs[second]["state"], jobs[second]["result"]
            exported = self.bench.root / f"exported{second}"
            self.bench.ctl("export", str(exported), "--job", str(second))
            if state == 0 and exported.read_bytes() != self.staged[second]:
                self.faults.append(f"job {second} is open and not whole")
            if second in self.closed and result != 13:
                self.faults.append(f"job {second} was closed and says {result}")
            if second in self.succeeded and (result != 0 or self.succeeded.count(second) > 1):
                self.faults.append(f"job {second} went well {self.succeeded.count(second)} times and says {result}")
        if not station or len(self.staged) != number:
            self.faults.append("too little happened to tell")


def main():
    given = options(__doc__, seconds=60, number=10)
    with tempfile.TemporaryDirectory() as base, Bench(given, base) as bench:
        (bench.root / "station").write_bytes(b"station" * 3)
        device = bench.device()
        crowd = Crowd(bench, given.seed)
        crowd.run(given.number, given.seconds)
        device.kill()
        device.wait()
        crowd.judge(given.number)
        print("\n".join(crowd.faults))
        return 1 if crowd.faults else 0


sys.exit(main())
