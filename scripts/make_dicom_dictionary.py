#!/usr/bin/env python3
"""Writes data/dicom_dictionary.txt, the engine's data dictionary, from DCMTK's text dictionaries.

Usage: scripts/make_dicom_dictionary.py [DCMTK_DICT_DIR] [OUTPUT]
  DCMTK_DICT_DIR  folder holding dicom.dic and private.dic (default: /usr/share/libdcmtk17, from
                  Debian's libdcmtk17 package)
  OUTPUT          default: data/dicom_dictionary.txt beside this script's folder

The source lines are "(gggg,eeee)<TAB>VR<TAB>Keyword<TAB>VM<TAB>Version" in dicom.dic and
"(gggg,\"OWNER\",ee)..." in private.dic. Our format has one tag per line and no ranges, so:
- group and element ranges (gggg-gggg, gggg-o-gggg, gggg-u-gggg) expand to every tag they cover: plain
  ranges step over even numbers, "-o-" over odd ones, "-u-" over all;
- DCMTK's own VR codes become the standard's: "ox" and "px" (OB or OW) -> "OW/OB", "xs" (US or SS) ->
  "US or SS", "up" (a file offset) -> "UL", which are the forms the engine settles when it reads implicit
  VR data. "lt" (LUT data, US or SS or OW) -> "OW": the engine settles no other ambiguous form, and
  reading the table as raw words is what the stored bytes allow in every case. "na" (item delimiters)
  is written with no VR;
- a later entry replaces an earlier one for the same tag, and a tag of its own wins over a range that
  covers it (so (7FE0,0010) stays Pixel Data beside the retired (7F00-7FFF,0010)), as in DCMTK's lookup;
- a private tag "(gggg,\"OWNER\",ee)" of the owner's own block is written as element 0x10ee, the first
  block an owner can reserve; "eeee" elements stay as they are;
- the generic ranges (GENERIC, PRIVATE, ILLEGAL: group lengths of every group, private creators of
  every odd group) are left out: element 0 of any group reads as UL without the dictionary, and the
  engine looks up odd groups through their owners, never through the dictionary.
"""
import os
import re
import sys

VR_MAP = {"ox": "OW/OB", "px": "OW/OB", "xs": "US or SS", "up": "UL", "lt": "OW", "na": ""}

STANDARD_TAG = re.compile(r"^\(([0-9A-Fa-f-ou]+),([0-9A-Fa-f-ou]+)\)$")
PRIVATE_TAG = re.compile(r'^\(([0-9A-Fa-f-ou]+),"([^"]*)",([0-9A-Fa-f-ou]+)\)$')


def expand(field):
    """Every number a tag field covers: "0010", "6000-60FF", "6001-o-60FF" or "3100-u-31FF"."""
    parts = field.split("-")
    if len(parts) == 1:
        return [int(parts[0], 16)]
    if len(parts) == 2:
        low, high, parity = int(parts[0], 16), int(parts[1], 16), 0
    elif len(parts) == 3 and parts[1] in ("o", "u"):
        low, high = int(parts[0], 16), int(parts[2], 16)
        parity = {"o": 1, "u": None}[parts[1]]
    else:
        raise ValueError("unknown range notation: " + field)
    return [n for n in range(low, high + 1) if parity is None or n % 2 == parity]


def read_lines(path):
    with open(path, encoding="latin-1") as source:
        for number, line in enumerate(source, 1):
            line = line.rstrip("\r\n")
            if not line.strip() or line.startswith("#"):
                continue
            fields = line.split("\t")
            if len(fields) == 4:  # some private lines leave out the version
                fields.append("")
            if len(fields) != 5:
                raise ValueError(f"{path}:{number}: expected 4 or 5 tab-separated fields")
            yield number, fields


def vr_of(code):
    return VR_MAP.get(code, code)


def read_standard(path):
    exact, ranged = {}, {}
    for number, (tag, vr, keyword, vm, version) in read_lines(path):
        if version in ("GENERIC", "PRIVATE", "ILLEGAL"):
            continue
        match = STANDARD_TAG.match(tag)
        if not match:
            raise ValueError(f"{path}:{number}: malformed tag {tag}")
        target = ranged if "-" in tag else exact
        for group in expand(match.group(1)):
            for element in expand(match.group(2)):
                target[(group, element)] = (vr_of(vr), vm, keyword)
    return {**ranged, **exact}


def read_private(path):
    entries = {}
    for number, (tag, vr, keyword, vm, _version) in read_lines(path):
        match = PRIVATE_TAG.match(tag)
        if not match:
            raise ValueError(f"{path}:{number}: malformed private tag {tag}")
        owner = match.group(2).strip()
        element_text = match.group(3)
        for group in expand(match.group(1)):
            if group % 2 == 0 or group < 7:
                continue  # not a private group: the engine never asks an owner for it
            for element in expand(element_text):
                if len(element_text.split("-")[0]) <= 2:
                    element |= 0x1000
                entries[(owner, group, element)] = (vr_of(vr), vm, keyword)
    return entries


def quoted(key, value):
    if '"' in value:
        raise ValueError(f"{key} value holds a double quote: {value}")
    return f'{key}="{value}"'


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    source = sys.argv[1] if len(sys.argv) > 1 else "/usr/share/libdcmtk17"
    output = sys.argv[2] if len(sys.argv) > 2 else os.path.join(here, "..", "data", "dicom_dictionary.txt")
    standard = read_standard(os.path.join(source, "dicom.dic"))
    private = read_private(os.path.join(source, "private.dic"))

    lines = [
        "REM Generated by scripts/make_dicom_dictionary.py from DCMTK's dicom.dic and private.dic:",
        "REM run that script to regenerate this file; do not edit it by hand.",
        "REM One tag a line: (gggg,eeee) then fields KEY=\"value\" separated by tabs, with the keys VR, VM,",
        "REM Name and Owner. Lines starting with REM are comments. A tag of an odd group from 0007 up is",
        "REM private and names its Owner; a group below 0007 or even is standard.",
    ]
    for (group, element), (vr, vm, keyword) in sorted(standard.items()):
        fields = [quoted("VR", vr)] if vr else []
        fields += [quoted("VM", vm), quoted("Name", keyword)]
        lines.append(f"({group:04X},{element:04X})\t" + "\t".join(fields))
    for (owner, group, element), (vr, vm, keyword) in sorted(private.items(), key=lambda item: (item[0][1], item[0][2], item[0][0])):
        fields = [quoted("VR", vr), quoted("VM", vm), quoted("Name", keyword), quoted("Owner", owner)]
        lines.append(f"({group:04X},{element:04X})\t" + "\t".join(fields))

    with open(output, "w", encoding="latin-1", newline="\n") as target:
        target.write("\n".join(lines) + "\n")
    print(f"{output}: {len(standard)} standard and {len(private)} private entries")


if __name__ == "__main__":
    main()
