#!/usr/bin/env python3
"""Commands of every kind at once on one staging file, at random moments: nothing is lost and no job is done twice."""
import json
import random
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time

from stagedbench import Bench, image_of, options

DECIDED = {0, 5, 8, 10, 12}
# Exit statuses that may come; 3: no job is open any more, or it is closed already.
MAY_COME = {"stage": {0}, "jobs": {0}, "clean": {0}, "close": {0, 3, 9}, "download": {0, 1, 3, 5, 6, 7, 8, 9}, "velmorin": {143}}
NO_FAULT = re.compile(r"on the bench in|no open job is whole|closed already|not open any more|is closed|being downloaded|is passed over"
                      r"|another (download|update)|there is no staging file|in use, so its room|velmorinctl: job \d+: ")


class Crowd:
    def __init__(self, bench, seed):
        self.bench, self.rng = bench, random.Random(seed)
        self.lock, self.faults = threading.Lock(), []
        self.staged, self.closed, self.succeeded, self.unrecorded = {}, [], [], 0

    def call(self, kind, *words):
        """Runs a command; what it printed when it went well."""
        done = subprocess.run([self.bench.programs.ctl, *words], env=self.bench.environment(), capture_output=True,
                              text=True, timeout=200, check=False)
        with self.lock:
            if done.returncode not in MAY_COME[kind]:
                self.faults.append(f"{words}: status {done.returncode}: {done.stderr}")
            self.faults += [f"{words}: {line}" for line in done.stderr.splitlines() if not NO_FAULT.search(line)
                            and kind != "download"]
        return done.stdout if done.returncode == 0 else ""

    def stage(self, number):
        image = bytes([number]) * (1 + 37 * number)
        path = self.bench.root / f"image{number}"
        path.write_bytes(image)
        out = self.call("stage", "stage", str(path), "--charge", "e0", "--device", "10", "--update", "20", "--json")
        with self.lock:
            job = json.loads(out)["job"]
            if job in self.staged:
                self.faults.append(f"two jobs of second {job}")
            self.staged[job] = image

    def download(self, _):
        out = self.call("download", "download", "--pace", "max", "--patience", "5", "--json")
        ends = [json.loads(line) for line in out.splitlines() if line.startswith("{")]
        with self.lock:
            self.succeeded += [end["job"] for end in ends if end["event"] == "end" and end["status"] == 0]

    def jobs(self, _):
        json.loads(self.call("jobs", "jobs", "--json"))

    def close(self, _):
        with self.lock:
            job = self.rng.choice(sorted(self.staged) or [1])
        if self.call("close", "close", str(job)):
            with self.lock:
                self.closed.append(job)

    def clean(self, _):
        self.call("clean", "clean")

    def velmorin(self, _):
        """For a device that is silent: until a signal ends it, and the job's row says so."""
        station = subprocess.Popen([self.bench.programs.velmorin, str(self.bench.root / "station"), "e1", "10", "20"],
                                   env=self.bench.environment(), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        timer = threading.Timer(1, station.send_signal, [signal.SIGTERM])
        timer.start()
        errors = station.communicate()[1]
        timer.cancel()
        with self.lock:
            self.unrecorded += errors.count("insert database error!: database is locked")
            if station.returncode not in MAY_COME["velmorin"]:
                self.faults.append(f"velmorin: {station.returncode}: {errors}")

    def run(self, number, seconds):
        """So many of each kind, within so many seconds, and waits for the last one."""
        kinds = ["stage", "download", "jobs", "close", "clean", "velmorin"] * number
        starts = sorted((self.rng.random() * seconds, kind) for kind in kinds)
        began, threads = time.monotonic(), []
        for index, (moment, kind) in enumerate(starts):
            time.sleep(max(0.0, began + moment - time.monotonic()))
            threads.append(threading.Thread(target=getattr(self, kind), args=[index % 200 + 1]))
            threads[-1].start()
        for thread in threads:
            thread.join()

    def judge(self, number):
        jobs, rows = self.bench.read()
        station = {second for second, row in jobs.items() if row[2].endswith("station")}
        for second, image in self.staged.items():
            if second in station:
                continue  # velmorin does not look whether its second is taken, and closes every job of it
            row, packets = jobs.get(second), rows.get(second, [])
            if row is None:
                self.faults.append(f"job {second} is lost")
            elif row[1] == 0 and image_of(packets) != image:
                self.faults.append(f"job {second} is open and not whole")
            elif row[1] == 1 and (packets or row[5] not in DECIDED | {13}):
                self.faults.append(f"job {second} is closed with {row[5]} and has {len(packets)} rows")
            if second in self.closed and row[5] != 13:
                self.faults.append(f"job {second} was closed and says {row[5]}")
            if second in self.succeeded and (row[5] != 0 or self.succeeded.count(second) > 1):
                self.faults.append(f"job {second} went well {self.succeeded.count(second)} times and says {row[5]}")
        if not station or len(self.staged) != number:
            self.faults.append("too little happened to tell")
        print(f"{len(self.staged)} staged, {len(self.succeeded)} downloaded, {len(self.closed)} closed, "
              f"{len(station)} updates by velmorin, {self.unrecorded} of its writes met a busy file")
        return self.faults


def main():
    given = options(__doc__, seconds=60, number=10)
    with tempfile.TemporaryDirectory() as base, Bench(given, base) as bench:
        (bench.root / "station").write_bytes(b"station" * 3)
        device = bench.device()
        crowd = Crowd(bench, given.seed)
        crowd.run(given.number, given.seconds)
        device.kill()
        device.wait()
        faults = crowd.judge(given.number)
        print("\n".join(faults))
        return 1 if faults else 0


sys.exit(main())
