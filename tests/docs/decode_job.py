"""A recorded job reads as names and values through docs/velmorin.dbc:  decode_job.py SOURCE VELMORIN VELMORIN-SIM"""
import os
import re
import subprocess
import sys
import tempfile
import zlib
from pathlib import Path

try:
    import canmatrix.formats
except ImportError:
    print("no python3-canmatrix on this machine")
    sys.exit(1 if os.environ.get("CI") == "true" else 77)

IMAGE = bytes(i * i // 3 & 0xFF for i in range(1000))
BASE = 0x08004000


def record_job(folder, velmorin, sim):
    (folder / "mnt/nandflash/app").mkdir(parents=True)
    (folder / "image").write_bytes(IMAGE)
    device = subprocess.Popen([sim, "--bench", folder, "--once", "--log", folder / "log"], stdout=subprocess.PIPE)
    try:
        device.stdout.readline()  # it is ready
        subprocess.run([velmorin, folder / "image", "e0", "55", "02"], env={**os.environ, "VELMORIN_BENCH": str(folder)},
                       stdout=subprocess.DEVNULL, check=True, timeout=90)
        if device.wait(20) != 0:
            sys.exit("velmorin-sim found the job incomplete")
    finally:
        device.kill()
    return (folder / "log").read_text().splitlines()


def decode(database, line):
    match = re.fullmatch(r"\(\d+\.\d{6}\) can0 ([0-9A-F]{8})#([0-9A-F]{16})", line)
    if not match:
        sys.exit(f"not a line of a candump log: {line}")
    identifier, data = canmatrix.ArbitrationId(int(match[1], 16), extended=True), bytes.fromhex(match[2])
    frame = database.frame_by_id(identifier)
    if frame is None:
        sys.exit(f"not in the database: {line}")
    return frame.name, {name: signal.raw_value for name, signal in frame.decode(data).items()}


def expected_frames():
    """Heartbeats aside."""
    job = {"Port": 1, "DeviceType": 0x55, "UpdateAddress": 2}
    padded = IMAGE.ljust(1024, b"\xff")
    yield "StartDownload", {**job, "FuncIndex": 0}
    yield "StartDownloadReply", {**job, "Status": 0, "Plan": 0}
    yield "AddressRequest", {**job, "ImageSize": 0}
    yield "AddressReply", {**job, "GroupAddress": BASE}
    yield "GoAhead", {**job, "Value": BASE}
    yield "GroupStart", {**job, "GroupAddress": BASE}
    yield "GroupStartReply", {**job, "GroupAddress": BASE}
    for i in range(256):
        yield "Data", {**job, "Packet": i, "ImageBytes": int.from_bytes(padded[4 * i:4 * i + 4], "little")}
    yield "GroupEnd", {**job, "Checksum": zlib.crc32(padded)}
    yield "GroupEndReply", {**job, "Verdict": 170, "NextAddress": BASE + 1024}
    yield "ProgramCheck", {**job, "Checksum": zlib.crc32(IMAGE)}
    yield "ProgramCheckReply", {**job, "Status": 0}
    yield "Reset", {**job, "Key": 170}
    yield "ResetReply", {**job, "Status": 170}


def main():
    source, velmorin, sim = sys.argv[1:]
    (database,) = canmatrix.formats.loadp(str(Path(source) / "docs/velmorin.dbc")).values()
    with tempfile.TemporaryDirectory(dir="/tmp") as folder:
        frames = [decode(database, line) for line in record_job(Path(folder), velmorin, sim)]
    beats = [frame for frame in frames if frame[0].startswith("Heartbeat")]
    wanted = [(name, {"Port": 1, "DeviceType": 0x55, "Sequence": number})
              for number in range(len(beats) // 2) for name in ("Heartbeat", "HeartbeatReply")]
    if len(beats) < 8 or beats != wanted:
        sys.exit(f"heartbeats: {beats}")
    others = [frame for frame in frames if frame not in beats]
    for got, want in zip(others, expected_frames()):
        if got != want:
            sys.exit(f"{got}, expected {want}")
    if len(others) != 269:
        sys.exit(f"{len(others)} frames beside heartbeats")


main()
