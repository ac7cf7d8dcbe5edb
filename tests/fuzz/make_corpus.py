#!/usr/bin/env python3
"""Writes the seed corpus of parser_fuzzer into tests/fuzz/corpus: a few small real files from
tests/data/dicom, and streams built by hand that reach the parser's rarer paths. Run it from anywhere:
    python3 tests/fuzz/make_corpus.py
"""
import pathlib
import shutil
import struct

HERE = pathlib.Path(__file__).resolve().parent
CORPUS = HERE / "corpus"
DATA = HERE.parent / "data" / "dicom"
UNDEFINED = 0xFFFFFFFF

REAL_FILES = ["ExplVR_LitEndNoMeta.dcm", "rtstruct.dcm", "nested_priv_SQ.dcm", "DICOMDIR-empty.dcm",
              "SC_rgb_small_odd_jpeg.dcm", "priv_SQ.dcm", "JPEG2000.dcm"]


def explicit_short(group, element, vr, length):
    return struct.pack("<HH2sH", group, element, vr.encode(), length)


def explicit_long(group, element, vr, length):
    return struct.pack("<HH2sHI", group, element, vr.encode(), 0, length)


def implicit(group, element, length):
    return struct.pack("<HHI", group, element, length)


def item(length):
    return implicit(0xFFFE, 0xE000, length)


ITEM_END = implicit(0xFFFE, 0xE00D, 0)
SEQ_END = implicit(0xFFFE, 0xE0DD, 0)
PATIENT = explicit_short(0x0010, 0x0010, "PN", 4) + b"AB^C"


def meta(syntax):
    uid = syntax.encode() + (b"\0" if len(syntax) % 2 else b"")
    return b"\0" * 128 + b"DICM" + explicit_short(0x0002, 0x0010, "UI", len(uid)) + uid


SEEDS = {
    # Starts with group 0008 and explicit VR, so the file parser accepts it too.
    "un_undefined_sequence": explicit_short(0x0008, 0x0060, "CS", 2) + b"CT"
    + explicit_long(0x0009, 0x1010, "UN", UNDEFINED) + item(UNDEFINED) + PATIENT + ITEM_END + SEQ_END,
    "fragments": explicit_short(0x0008, 0x0060, "CS", 2) + b"MR"
    + explicit_long(0x7FE0, 0x0010, "OB", UNDEFINED) + item(0) + item(4) + b"\xFE\xFF\xDD\xE0" + SEQ_END,
    "defined_sequence": explicit_short(0x0008, 0x0060, "CS", 2) + b"CT"
    + explicit_long(0x0008, 0x1115, "SQ", 8 + len(PATIENT) + 8) + item(len(PATIENT)) + PATIENT + item(0)
    + explicit_long(0x7FE0, 0x0010, "OW", 4) + b"\1\2\3\4",
    "item_delimiter_at_top": PATIENT + ITEM_END + PATIENT,
    "ut_value_read_as_tag": explicit_short(0x0008, 0x0060, "CS", 2) + b"CT"
    + explicit_long(0x0040, 0xA160, "UT", len(PATIENT)) + PATIENT,
    "nested_sequences": explicit_short(0x0008, 0x0060, "CS", 2) + b"CT"
    + (explicit_long(0x0008, 0x1115, "SQ", UNDEFINED) + item(UNDEFINED)) * 8 + PATIENT + (ITEM_END + SEQ_END) * 8,
    "implicit_after_meta": meta("1.2.840.10008.1.2") + implicit(0x0008, 0x0060, 2) + b"CT"
    + implicit(0x0028, 0x0106, 2) + b"\xFE\xFF" + implicit(0x0009, 0x1001, 4) + b"ABCD"
    + implicit(0x7FE0, 0x0010, 4) + b"\1\2\3\4",
    "unknown_syntax": meta("1.2.840.10008.1.2.4.80") + PATIENT,
}


def main():
    CORPUS.mkdir(exist_ok=True)
    for name in REAL_FILES:
        shutil.copyfile(DATA / name, CORPUS / name)
    for name, data in SEEDS.items():
        (CORPUS / name).write_bytes(data)


if __name__ == "__main__":
    main()
