"""A staged job of device f3, recorded, read as names and values through the frames' database:

    decode_job.py VELMORINCTL VELMORIN-SIM
"""
import os
import subprocess
import sys
import tempfile
import zlib
from pathlib import Path

try:
    import can
    import canmatrix.formats
except ImportError as missing:
    print(f"not on this machine: {missing.name}")
    sys.exit(1 if os.environ.get("CI") == "true" else 77)

VELMORINCTL, VELMORIN_SIM = sys.argv[1:]
IMAGE = bytes(i * i // 3 & 0xFF for i in range(1000))
BASE = 0x08004000


def record_job(folder):
    (folder / "mnt/nandflash/app").mkdir(parents=True)
    (folder / "image").write_bytes(IMAGE)
    addresses = ["--charge", "f3", "--device", "55", "--update", "02", "--port", "1"]
    device = subprocess.Popen([VELMORIN_SIM, "--bench", folder, "--address", "f3", "--once", "--log", folder / "log"],
                              stdout=subprocess.PIPE)
    try:
        device.stdout.readline()  # it is ready
        for command in (["stage", folder / "image", *addresses], ["download"]):
            subprocess.run([VELMORINCTL, *command], env={**os.environ, "VELMORIN_BENCH": str(folder)}, check=True,
                           timeout=90)
        if device.wait(20) != 0:
            sys.exit("velmorin-sim found the job incomplete")
    finally:
        device.kill()
    return list(can.CanutilsLogReader(folder / "log"))


def decode(database, message):
    frame = database.frame_by_id(canmatrix.ArbitrationId(message.arbitration_id, extended=message.is_extended_id))
    if frame is None:
        sys.exit(f"not in the database: {message}")
    values = frame.decode(bytes(message.data).ljust(8, b"\0"))
    return frame.name, {name: value.raw_value for name, value in values.items()
                        if value.signal.start_bit < 8 * message.dlc}


def expected_frames():
    """Heartbeats aside."""
    sent = IMAGE.ljust(1024, b"\xff")
    job = {"Port": 1, "DeviceType": 0x55, "UpdateAddress": 2}
    yield "StartDownload", {**job, "FuncIndex": 0}
    yield "StartDownloadReply", {**job, "Status": 0, "Plan": 0}
    yield "AddressRequest", {**job, "ImageSize": 0}
    yield "AddressReply", {**job, "GroupAddress": BASE}
    yield "GoAhead", {**job, "Value": BASE}
    yield "GroupStart", {**job, "GroupAddress": BASE}
    yield "GroupStartReply", {**job, "GroupAddress": BASE}
    for i in range(0, len(sent), 4):
        yield "Data", {**job, "Packet": i // 4, **{f"Image{k}": byte for k, byte in enumerate(sent[i:i + 4])}}
    yield "GroupEnd", {**job, "Checksum": zlib.crc32(sent)}
    yield "GroupEndReply", {**job, "Verdict": 170, "NextAddress": BASE + 1024}
    yield "ProgramCheck", {**job, "Checksum": zlib.crc32(IMAGE)}
    yield "ProgramCheckReply", {**job, "Status": 0}
    yield "Reset", {**job, "Key": 170}
    yield "ResetReply", {**job, "Status": 170}


def check_job(folder):
    dbc = subprocess.run([VELMORINCTL, "dbc", "--charge", "f3"], capture_output=True, check=True).stdout
    (database,) = canmatrix.formats.loads(dbc, "dbc").values()
    frames = [decode(database, message) for message in record_job(folder)]
    beats = [frame for frame in frames if frame[0].startswith("Heartbeat")]
    wanted = [(name, {"Port": 1, "DeviceType": 0x55, "Sequence": number})
              for number in range(len(beats) // 2) for name in ("Heartbeat", "HeartbeatReply")]
    if len(beats) < 8 or beats != wanted:
        sys.exit(f"heartbeats: {beats}")
    others = [frame for frame in frames if frame not in beats]
    wanted = list(expected_frames())
    if others != wanted:
        sys.exit(f"{[pair for pair in zip(others, wanted) if pair[0] != pair[1]][:3]}, {len(others)} frames of "
                 f"{len(wanted)}")


with tempfile.TemporaryDirectory(dir="/tmp") as parent:
    check_job(Path(parent))
