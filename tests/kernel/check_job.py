"""Compares what a witness on the bus logged during a job, and the job's row, with what they have to be.

    check_job.py FOLDER charge=HEX port=N device=HEX update=HEX name=PATH [func=N] [plan=A|B] [named_size=N]

FOLDER holds image.bin, candump.log and chargeupdate.db. Everything expected is worked out here from the image.
"""
import binascii
import re
import sqlite3
import sys
from pathlib import Path

GROUP, BASE = 1024, 0x08004000


def crc_a(data):
    """CRC-32/MPEG-2 over little-endian words."""
    crc = 0xFFFFFFFF
    for i in range(0, len(data), 4):
        crc ^= int.from_bytes(data[i:i + 4], "little")
        for _ in range(32):
            crc = (crc << 1 ^ (0x04C11DB7 if crc & 0x80000000 else 0)) & 0xFFFFFFFF
    return crc


def le32(value):
    return value.to_bytes(4, "little")


def expected_frames(image, job):
    """The frames of an undisturbed job in order, heartbeats left out: (identifier, data)."""
    charge, head = int(job["charge"], 16), bytes([int(job["port"]), int(job["device"], 16), int(job["update"], 16)])
    plan_a = job.get("plan") == "A"
    checksum = crc_a if plan_a else binascii.crc32

    def command(pf, data=b""):
        return 0x10000000 | pf << 16 | charge << 8 | 0x8A, (head + data).ljust(8, b"\0")

    def reply(pf, data=b""):
        return 0x10000000 | pf << 16 | 0x8A << 8 | charge, (head + data).ljust(8, b"\0")

    padded = image.ljust(-(-len(image) // GROUP) * GROUP, b"\xff")
    yield command(0x72, bytes([int(job.get("func", 0))]))
    yield reply(0x73, bytes([0, 0, 1 if plan_a else 0]))
    yield command(0x74, le32(int(job.get("named_size", 0))))
    yield reply(0x75, b"\0" + le32(BASE))
    yield reply(0x76, b"\0" + le32(BASE))
    for offset in range(0, len(padded), GROUP):
        group = padded[offset:offset + GROUP]
        yield command(0x77, le32(BASE + offset))
        yield reply(0x78, le32(BASE + offset))
        for packet in range(256):
            yield command(0x79, bytes([packet]) + group[4 * packet:4 * packet + 4])
        yield command(0x7A, le32(checksum(group)))
        yield reply(0x7B, b"\xaa" + le32(BASE + offset + GROUP))
    yield command(0x7C, le32(checksum(padded if plan_a else image)))
    yield reply(0x7D, b"\0")
    yield command(0x7E, b"\xaa")
    yield reply(0x7F, b"\xaa")


def logged_frames(folder):
    for number, line in enumerate((folder / "candump.log").read_text().splitlines(), 1):
        match = re.fullmatch(r"\(\d+\.\d{6}\) can1 ([0-9A-F]{8})#([0-9A-F]{16})", line)
        if not match:
            sys.exit(f"FAIL candump.log line {number} is no full extended data frame: {line}")
        yield int(match[1], 16), bytes.fromhex(match[2])


def check_heartbeats(frames, job):
    """Heartbeats count from 0, and each is answered before the next one."""
    charge, head = int(job["charge"], 16), bytes([int(job["port"]), int(job["device"], 16)])
    expected = []
    for number in range(len(frames) // 2):
        data = head + number.to_bytes(2, "little") + bytes(4)
        expected += [(0x1070008A | charge << 8, data), (0x10718A00 | charge, data)]
    if len(expected) < 8 or frames != expected:
        sys.exit(f"FAIL heartbeats: {[(hex(i), d.hex()) for i, d in frames]}")


def check_bus(folder, image, job):
    logged = list(logged_frames(folder))
    is_heartbeat = [frame[0] >> 16 & 0xFF in (0x70, 0x71) for frame in logged]
    check_heartbeats([frame for frame, beat in zip(logged, is_heartbeat) if beat], job)
    if sum(is_heartbeat[:8]) < 8:
        sys.exit("FAIL the download starts before four heartbeats are answered")
    others = [frame for frame, beat in zip(logged, is_heartbeat) if not beat]
    for number, (got, want) in enumerate(zip(others, expected_frames(image, job))):
        if got != want:
            sys.exit(f"FAIL frame {number}: {got[0]:08X}#{got[1].hex()}, expected {want[0]:08X}#{want[1].hex()}")
    wanted = len(list(expected_frames(image, job)))
    if len(others) != wanted:
        sys.exit(f"FAIL {len(others)} frames beside heartbeats, expected {wanted}")


def check_row(folder, image, job):
    rows = sqlite3.connect(folder / "chargeupdate.db").execute(
        "SELECT name, state, chargeaddress, caninterface, devtype, updateaddress, filesize, result, crcA, crcB,"
        " timeuse > 4000 AND timeuse < 150000, typeof(timestamp) FROM tag_history").fetchall()
    padded = image.ljust(-(-len(image) // GROUP) * GROUP, b"\xff")
    expected = (job["name"], 1, job["charge"], int(job["port"]), int(job["device"], 16), job["update"], len(image), 0,
                f"{crc_a(padded):08x}", f"{binascii.crc32(image):08x}", 1, "integer")
    if rows != [expected]:
        sys.exit(f"FAIL rows {rows}, expected one: {expected}")


def main():
    folder = Path(sys.argv[1])
    job = dict(word.split("=") for word in sys.argv[2:])
    image = (folder / "image.bin").read_bytes()
    check_bus(folder, image, job)
    check_row(folder, image, job)


main()
