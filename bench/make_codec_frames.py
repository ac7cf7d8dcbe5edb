#!/usr/bin/python3
"""Writes the two compressed frames that the codec benchmark decodes.

  ct_lossless16.dcm  a 512 x 512 CT slice, signed 16-bit, JPEG lossless (process 14, SV1): a water
                     cylinder with a bone ring in air, as in make_ct_series.py, with noise of a few HU
                     as a scanner gives, so that the stream is as dense as a real one;
  us_baseline8.dcm   a 512 x 512 8-bit grey secondary capture, JPEG baseline at DCMTK's default quality
                     90: a speckled fan-shaped image, as an ultrasound.
The pixels are made here with pydicom and compressed with DCMTK's dcmcjpeg. The output is the same on
every run.

Usage: /usr/bin/python3 bench/make_codec_frames.py [--out DIR]
Needs python3-pydicom and dcmtk. DIR defaults to /tmp/ondrel-codec-bench and is created if missing.
"""

import argparse
import array
import math
import os
import random
import subprocess
import sys
import tempfile

from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian

ROOT = "1.3.6.1.4.1.77777.99.2"  # the workstation's root, branch 99 for benchmark data
SIZE = 512


def dataset(sop_class, number, bits, signed, photometric):
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = sop_class
    meta.MediaStorageSOPInstanceUID = f"{ROOT}.{number}"
    meta.TransferSyntaxUID = ExplicitVRLittleEndian
    ds = Dataset()
    ds.file_meta = meta
    ds.is_little_endian, ds.is_implicit_VR = True, False
    ds.SOPClassUID = sop_class
    ds.SOPInstanceUID = meta.MediaStorageSOPInstanceUID
    ds.StudyInstanceUID = f"{ROOT}.{number}.1"
    ds.SeriesInstanceUID = f"{ROOT}.{number}.2"
    ds.PatientName, ds.PatientID = "Bench^Codec", "BENCH"
    ds.Rows = ds.Columns = SIZE
    ds.SamplesPerPixel = 1
    ds.PhotometricInterpretation = photometric
    allocated = 8 if bits <= 8 else 16
    ds.BitsAllocated, ds.BitsStored, ds.HighBit = allocated, bits, bits - 1
    ds.PixelRepresentation = int(signed)
    return ds


def noise(generator, spread):
    # Roughly normal: the sum of four uniform draws.
    return sum(generator.uniform(-spread, spread) for _ in range(4)) / 2


def ct_pixels(generator):
    centre = (SIZE - 1) / 2.0
    outer, inner = SIZE * 0.42, SIZE * 0.40
    data = array.array("h")
    for y in range(SIZE):
        for x in range(SIZE):
            radius = math.hypot(x - centre, y - centre)
            hu = -1000 if radius > outer else 1200 if radius > inner else 0
            data.append(int(hu + 1024 + noise(generator, 12)))
    return data


def ultrasound_pixels(generator):
    apex_x, apex_y = SIZE / 2.0, -SIZE * 0.1
    data = array.array("B")
    for y in range(SIZE):
        for x in range(SIZE):
            depth = math.hypot(x - apex_x, y - apex_y)
            angle = math.atan2(x - apex_x, y - apex_y)
            if abs(angle) > 0.6 or depth > SIZE * 1.05:
                data.append(0)
                continue
            tissue = 90 + 40 * math.sin(depth / 23.0) * math.cos(angle * 7.0)
            data.append(max(0, min(255, int(tissue * (1.0 - depth / (SIZE * 1.4)) + noise(generator, 30)))))
    return data


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", default="/tmp/ondrel-codec-bench")
    out = parser.parse_args().out
    os.makedirs(out, exist_ok=True)
    generator = random.Random(2024)
    frames = [
        ("ct_lossless16.dcm", dataset("1.2.840.10008.5.1.4.1.1.2", 1, 16, True, "MONOCHROME2"), ct_pixels, []),
        ("us_baseline8.dcm", dataset("1.2.840.10008.5.1.4.1.1.7", 2, 8, False, "MONOCHROME2"), ultrasound_pixels,
         ["+eb"]),
    ]
    with tempfile.TemporaryDirectory() as temp:
        for name, ds, pixels, options in frames:
            data = pixels(generator)
            if sys.byteorder != "little":
                data.byteswap()
            ds.PixelData = data.tobytes()
            native = os.path.join(temp, name)
            ds.save_as(native, write_like_original=False)
            subprocess.run(["dcmcjpeg", *options, native, os.path.join(out, name)], check=True)
    print(f"make_codec_frames: wrote {', '.join(name for name, *_ in frames)} into {out}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
