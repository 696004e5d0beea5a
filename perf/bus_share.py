#!/usr/bin/env python3
"""How busy the updater keeps a bus of 125000 bit/s, from the first group start to the last verdict, and what it costs.

    bus_share.py VELMORINCTL VELMORIN-SIM [SIZE_KIB:PACE...]

A job each, side by side, on a bench whose bus takes the time that a real one takes. Exit status 1 when a job at pace
"max" keeps the bus less than 97 % busy or takes more than 5 % of a core.
"""
import os
import re
import subprocess
import sys
import tempfile
import time

LEAST_BUSY, MOST_CPU = 97.0, 5.0


class Job:
    def __init__(self, ctl, sim, folder, size_kib, pace):
        self.size_kib, self.pace = size_kib, pace
        self.bench = os.path.join(folder, f"{size_kib}-{pace}")
        os.makedirs(self.bench + "/mnt/nandflash/app")
        image = os.path.join(self.bench, "image")
        with open(image, "wb") as file:
            file.write(os.urandom(size_kib * 1024))
        self.device = subprocess.Popen([sim, "--bench", self.bench, "--bitrate", "125000", "--once"],
                                       stdout=subprocess.PIPE, text=True)
        self.device.stdout.readline()  # "ready"
        self.begun = time.monotonic()
        command = [ctl, "update", image, "--charge", "e0", "--device", "10", "--update", "20", "--pace", pace, "--quiet"]
        self.updater = subprocess.Popen(command, env={**os.environ, "VELMORIN_BENCH": self.bench},
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def finish(self):
        _, status, usage = os.wait4(self.updater.pid, 0)
        self.seconds = time.monotonic() - self.begun
        self.cpu = 100 * (usage.ru_utime + usage.ru_stime) / self.seconds
        summary = self.device.communicate()[0]
        found = re.search(r"([0-9.]+) % from the first group start to the last verdict, ([0-9.]+) % with", summary)
        if status != 0 or not found:
            sys.exit(f"{self.size_kib} KiB at pace {self.pace}: status {status}\n{summary}")
        self.busy = float(found[2])

    def is_good(self):
        return self.pace != "max" or (self.busy >= LEAST_BUSY and self.cpu <= MOST_CPU)


def main():
    ctl, sim, *wanted = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        jobs = [Job(ctl, sim, folder, int(size), pace)
                for size, pace in (each.split(":") for each in wanted or ["64:max", "1024:max", "64:1"])]
        print("%10s %6s %10s %22s %14s" % ("image KiB", "pace", "seconds", "bus busy with the job", "updater's CPU"))
        for job in sorted(jobs, key=lambda each: each.size_kib if each.pace == "max" else 4 * each.size_kib):
            job.finish()
            print("%10d %6s %10.1f %20.2f %% %12.2f %%" % (job.size_kib, job.pace, job.seconds, job.busy, job.cpu), flush=True)
    sys.exit(0 if all(job.is_good() for job in jobs) else 1)


main()
