#!/usr/bin/python3
"""Puts every DICOM file of pydicom's test files through `ondrel pixels` and `ondrel render`.

Usage: tests/apps/every_pydicom_file.py ONDREL [--summary]
Run by CTest (ondrel_every_pydicom_file). Each file must come out one of three ways, and the run fails
on any other:
- right: the command succeeds without a warning, and what it wrote is right. `pixels` must give the
  stored samples as DCMTK or GDCM decode them, colours as stored (see `decoded`); `render` must make the
  display buffer (its --display-raw: rows and columns padded to multiples of 4, top-down, grey or blue,
  green, red) that the workstation's window/level mapping makes of frame 0 of those samples, padding
  black (the mapping of scripts/make_render_references, computed here and never by the code under
  test). How that buffer is stretched into the window is the graphics tests' concern;
- warned: the command printed "ondrel: warning: FILE: ..." (bytes it shows but does not decode or
  understand), whatever it wrote;
- refused: exit 1 with one line "ondrel: ...: ..." on standard error that names the file.
A crash, a usage error, a failure that prints more than that line, or a wrong result without a warning
is a fault. --summary prints one line a file and the counts.

Needs Debian's python3-pydicom (hence /usr/bin/python3), DCMTK and GDCM's gdcmconv, which
scripts/setup installs.
"""

import importlib.machinery
import os
import subprocess
import sys
import tempfile

import pydicom

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PYDICOM_FILES = "/usr/lib/python3/dist-packages/pydicom/data/test_files"
MAPPING = importlib.machinery.SourceFileLoader(
    "render_mapping", os.path.join(ROOT, "scripts", "make_render_references")).load_module()

def run(command):
    done = subprocess.run(command, capture_output=True, text=True)
    return done.returncode, done.stderr


def outcome(name, code, stderr):
    """'warned', 'refused' or 'ok', or a fault as text."""
    lines = [line for line in stderr.splitlines() if line]
    if code == 0:
        if any(line.startswith("ondrel: warning: ") and name in line for line in lines):
            return "warned"
        return "ok" if not lines else f"succeeded with unexplained output: {stderr!r}"
    if code == 1:
        errors = [line for line in lines if not line.startswith("ondrel: warning: ")]
        if len(errors) == 1 and errors[0].startswith("ondrel: ") and name in errors[0]:
            return "refused"
        return f"failed unclearly: {stderr!r}"
    return f"exit {code}: {stderr!r}"


JPEG = ("1.2.840.10008.1.2.4.50", "1.2.840.10008.1.2.4.51", "1.2.840.10008.1.2.4.57", "1.2.840.10008.1.2.4.70")
RLE = "1.2.840.10008.1.2.5"


def decoded(path, folder):
    """The file as explicit VR little endian with its pixel data decompressed, read by pydicom, or None
    when the tools refuse it. JPEG by DCMTK's dcmdjpeg +cn, which keeps the stream's colours as stored,
    as the workstation's codecs do; RLE by dcmdrle; JPEG 2000 and JPEG-LS by GDCM; everything else
    rewritten by dcmconv +te."""
    syntax = str(pydicom.dcmread(path, stop_before_pixels=True, force=True).file_meta.get("TransferSyntaxUID", ""))
    raw = os.path.join(folder, "raw.dcm")
    if syntax in JPEG:
        command = ["dcmdjpeg", "+cn", path, raw]
    elif syntax == RLE:
        command = ["dcmdrle", path, raw]
    elif syntax.startswith("1.2.840.10008.1.2.4."):
        command = ["gdcmconv", "--raw", path, raw]
    else:
        command = ["dcmconv", "+te", path, raw]
    if subprocess.run(command, capture_output=True).returncode != 0:
        return None
    try:
        ds = pydicom.dcmread(raw)
    except Exception:  # a file the tools write but pydicom can't read has no reference
        return None
    return ds if "PixelData" in ds else None


def frame_samples(ds):
    """Frame 0's stored samples, pixel-interleaved, as integers."""
    size = 1 if ds.BitsAllocated <= 8 else 2
    samples_per_pixel = ds.get("SamplesPerPixel", 1)
    count = ds.Rows * ds.Columns * samples_per_pixel
    data = ds.PixelData
    values = [int.from_bytes(data[i * size:(i + 1) * size], "little") for i in range(count)]
    if samples_per_pixel == 3 and ds.get("PlanarConfiguration", 0) == 1:
        plane = ds.Rows * ds.Columns
        values = [values[s * plane + p] for p in range(plane) for s in range(3)]
    return values


def expected_picture(ds, path):
    """What the window shows of frame 0 at scale one: the mapping of the decoded samples, under the
    header of the original file (a tool may rewrite Bits Stored)."""
    image = MAPPING.Image(path, frame_samples(ds))
    if image.photometric == "YBR_FULL":
        image.stored = MAPPING.ybr_to_rgb(image.stored)
    return MAPPING.shown(image)


def buffer_fault(raw, rows, columns, colour, expected):
    """None when the display buffer `raw` (padded, top-down) holds `expected` with black padding, else
    where it first differs."""
    channels = 3 if colour else 1
    if channels != expected.channels:
        return f"a {'colour' if colour else 'grey'} display buffer where the mapping gives {expected.channels} channels"
    if len(raw) != rows * columns * channels or rows < expected.height or columns < expected.width:
        return f"a display buffer of {len(raw)} bytes for {rows} x {columns}"
    for y in range(rows):
        for x in range(columns):
            shown = list(raw[(y * columns + x) * channels:(y * columns + x + 1) * channels])
            if x < expected.width and y < expected.height:
                at = (y * expected.width + x) * channels
                want = list(reversed(expected.samples[at:at + channels]))  # blue, green, red
            else:
                want = [0] * channels
            if shown != want:
                return f"pixel ({x}, {y}) is {shown} where the mapping gives {want}"
    return None


def same_samples(written, reference):
    """Equal, but for the one zero byte that pads a value of odd length."""
    shorter, longer = sorted((written, reference), key=len)
    return longer[:len(shorter)] == shorter and len(longer) - len(shorter) <= 1


def check(path, ondrel, folder):
    name = os.path.basename(path)
    reference = decoded(path, folder)
    results = {}

    raw = os.path.join(folder, "pixels.raw")
    code, stderr = run([ondrel, "pixels", path, "-o", raw])
    results["pixels"] = outcome(name, code, stderr)
    if results["pixels"] == "ok":
        if reference is None:
            results["pixels"] = "succeeded where the tools decode nothing"
        elif not same_samples(open(raw, "rb").read(), bytes(reference.PixelData)):
            results["pixels"] = "wrote other samples than the tools decode"

    display = os.path.join(folder, "display.raw")
    done = subprocess.run([ondrel, "render", path, "-o", os.path.join(folder, "render.png"), "--no-overlays",
                           "--display-raw", display], capture_output=True, text=True)
    results["render"] = outcome(name, done.returncode, done.stderr)
    if results["render"] == "ok":
        shape = dict(field.split("=") for field in done.stdout.split())
        if reference is None:
            results["render"] = "rendered where the tools decode nothing"
        elif fault := buffer_fault(open(display, "rb").read(), int(shape["rows"]), int(shape["columns"]),
                                   shape["colour"] == "yes", expected_picture(reference, path)):
            results["render"] = "wrong picture: " + fault
    return results


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    ondrel, summary = sys.argv[1], "--summary" in sys.argv[2:]
    files = sorted(f for f in os.listdir(PYDICOM_FILES) if f.endswith(".dcm"))
    if not files:
        sys.exit(f"no DICOM files in {PYDICOM_FILES}: apt-get install python3-pydicom")
    counts, faults = {}, []
    with tempfile.TemporaryDirectory() as folder:
        for name in files:
            results = check(os.path.join(PYDICOM_FILES, name), ondrel, folder)
            for command, result in results.items():
                kind = result if result in ("ok", "warned", "refused") else "fault"
                counts[(command, kind)] = counts.get((command, kind), 0) + 1
                if kind == "fault":
                    faults.append(f"{name}: ondrel {command}: {result}")
            if summary:
                print(f"{name}: pixels {results['pixels']}, render {results['render']}")
    for command in ("pixels", "render"):
        print(f"{command}: " + ", ".join(f"{counts.get((command, kind), 0)} {kind}"
                                         for kind in ("ok", "warned", "refused", "fault")))
    for fault in faults:
        print(fault)
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
