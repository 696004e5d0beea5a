"""A staged job, read through the frames' database, is the recorded one:  decode_job.py VELMORINCTL VELMORIN-SIM"""
import os
import subprocess
import sys
import tempfile
from difflib import unified_diff
from itertools import groupby
from pathlib import Path

try:
    import can
    import canmatrix.formats
except ImportError as missing:
    print(f"not on this machine: {missing.name}")
    sys.exit(1 if os.environ.get("CI") == "true" else 77)

VELMORINCTL, VELMORIN_SIM = sys.argv[1:]
IMAGE = bytes(i * i // 3 & 0xFF for i in range(1000))
RECORDED = Path(__file__).parent / "data/decoded_job.txt"

dbc = subprocess.run([VELMORINCTL, "dbc", "--charge", "f3"], capture_output=True, check=True).stdout
(database,) = canmatrix.formats.loads(dbc, "dbc").values()
with tempfile.TemporaryDirectory(dir="/tmp") as folder:
    (Path(folder) / "mnt/nandflash/app").mkdir(parents=True)
    (Path(folder) / "image").write_bytes(IMAGE)
    device = subprocess.Popen([VELMORIN_SIM, "--bench", folder, "--address", "f3", "--log", f"{folder}/log"],
                              stdout=subprocess.PIPE)
    try:
        device.stdout.readline()  # it is ready
        for command in (f"stage {folder}/image --charge f3 --device 55 --update 02 --port 1", "download"):
            subprocess.run([VELMORINCTL, *command.split()], env={**os.environ, "VELMORIN_BENCH": folder}, check=True)
    finally:
        device.kill()
    messages = list(can.CanutilsLogReader(f"{folder}/log"))

seen, beats, others = [], [], []
for message in messages:
    frame = database.frame_by_id(canmatrix.ArbitrationId(message.arbitration_id, extended=message.is_extended_id))
    number = seen.count(frame.name)
    seen.append(frame.name)
    # Of packets, sequence numbers and the image's bytes it is told how far off they are.
    packet = IMAGE.ljust(1024, b"\xff")[4 * number:4 * number + 4]
    expected = {"Packet": number, "Sequence": number, **{f"Image{k}": byte for k, byte in enumerate(packet)}}
    values = [f"{name}={value.raw_value - expected.get(name, 0):#x}"
              for name, value in frame.decode(bytes(message.data).ljust(8, b"\0")).items()
              if value.signal.start_bit < 8 * message.dlc]
    (beats if frame.name.startswith("Heartbeat") else others).append(" ".join([frame.name, *values]))
# How many heartbeats there are is a matter of time, but at least four go before the job.
job = [f"{line}, {min(4, beats.count(line))} or more" for line in sorted(set(beats))]
job += [f"{line}, {len(list(run))}" for line, run in groupby(others)]
sys.exit("\n".join(unified_diff(RECORDED.read_text().splitlines(), job, str(RECORDED), "this job", lineterm="")) or 0)
