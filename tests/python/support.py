"""What the binding's tests share: where the files and tools are, and independent readers of what the
command-line host writes."""

import os
import pathlib
import shutil
import struct
import subprocess

import numpy

PYDICOM_FILES = pathlib.Path("/usr/lib/python3/dist-packages/pydicom/data/test_files")
REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
SAMPLE = REPOSITORY / "data" / "sample" / "CT_small.dcm"
SPATIAL = REPOSITORY / "tests" / "data" / "spatial"


def ondrel_executable():
    """The command-line host of the same build, which CTest names in ONDREL."""
    return os.environ["ONDREL"]


def tool(name):
    """A reference tool that scripts/setup installs; its absence fails the test that needs it."""
    path = shutil.which(name)
    if path is None:
        raise AssertionError(f"{name} is missing: scripts/setup installs it")
    return path


def run(*command):
    """Runs a command, failing with its standard error when it fails; returns its standard output."""
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True)
    if done.returncode != 0:
        raise AssertionError(f"{command} failed ({done.returncode}): {done.stderr}")
    return done.stdout


def read_bmp(path):
    """The pixels of a 24- or 32-bit uncompressed BMP file as height x width x 3 RGB, read from the
    format's definition (no code of the core)."""
    data = pathlib.Path(path).read_bytes()
    offset, = struct.unpack_from("<I", data, 10)
    width, height, _, bits, compression = struct.unpack_from("<iiHHI", data, 18)
    if compression not in (0, 3) or bits not in (24, 32):
        raise AssertionError(f"{path}: a BMP of {bits} bits, compression {compression}, is not read here")
    step = bits // 8
    stride = (width * step + 3) // 4 * 4
    rows = numpy.frombuffer(data, numpy.uint8, stride * abs(height), offset).reshape(abs(height), stride)
    pixels = rows[:, : width * step].reshape(abs(height), width, step)[:, :, 2::-1]
    return pixels[::-1] if height > 0 else pixels
