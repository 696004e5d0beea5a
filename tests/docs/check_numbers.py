"""The frames and results in the documents are those of the program:  check_numbers.py SOURCE-FOLDER"""
import re
import sys
from pathlib import Path

ROOT = Path(sys.argv[1])


def read(path):
    return (ROOT / path).read_text(encoding="utf-8")


def compare(what, program, document):
    if len(program) < 10:
        sys.exit(f"{what}: only {len(program)} found in the program, this check is out of date")
    if program != document:
        sys.exit(f"{what}: only in the program {sorted(program - document)}, only in the document "
                 f"{sorted(document - program)}")


def frames_of_program():
    return {(name, int(pf, 16)) for name, pf in re.findall(r"kPf(\w+) = 0x(\w+)", read("src/protocol/protocol.h"))}


def frames_of_tables():
    return {(name, int(pf, 16)) for pf, name in re.findall(r"^\| ([0-9A-F]{2}) \| (\w+) \| (?:updater|device) ",
                                                          read("docs/protocol.md"), re.M)}


def frames_of_dbc():
    """Their whole identifiers are those of a job: decode_job.py."""
    return {(name, int(number) >> 16 & 0xFF) for number, name in re.findall(r"^BO_ (\d+) (\w+): 8 ",
                                                                          read("docs/velmorin.dbc"), re.M)}


def results_of_program():
    codes = dict(re.findall(r"(kResult\w+) = (-?\d+)", read("src/protocol/protocol.h")))
    texts = re.findall(r'case (kResult\w+):\s*return "([^"]+)"', read("src/protocol/protocol.cpp"))
    return {(int(codes[name]), text) for name, text in texts}


def results_of_tables():
    section = read("docs/protocol.md").split("## Results")[1]
    return {(int(code), text) for code, text in re.findall(r"^\| (-?\d+) \| ([^|]+) \|", section, re.M)}


compare("docs/protocol.md, frames", frames_of_program(), frames_of_tables())
compare("docs/velmorin.dbc, frames", frames_of_program(), frames_of_dbc())
compare("docs/protocol.md, results", results_of_program(), results_of_tables())
