#!/usr/bin/python3
"""Writes the compressed frames that the codec benchmark decodes.

  ct_lossless16.dcm   a 512 x 512 CT slice, signed 16-bit, JPEG lossless (process 14, SV1): a water
                      cylinder with a bone ring in air, as in make_ct_series.py, with noise of a few HU
                      as a scanner gives, so that the stream is as dense as a real one;
  ct_j2k16.dcm        the same slice, JPEG 2000 lossless;
  us_baseline8.dcm    a 512 x 512 8-bit grey secondary capture, JPEG baseline at DCMTK's default
                      quality 90: a speckled fan-shaped image, as an ultrasound;
  cr_lossless12.dcm   the 3000 x 3000 12-bit radiograph that make_cr_image.py writes, JPEG lossless SV1;
  cr_j2k12.dcm        the same radiograph, JPEG 2000 lossless;
  rgb800x600.dcm      an 800 x 600 RGB photograph, 8 bits, native (explicit VR little endian): a
                      pigmented skin lesion on shaded skin with sensor noise, as a dermatology camera
                      gives;
  rgb_lossless8.dcm   the same photograph, JPEG lossless SV1;
  rgb_j2k8.dcm        the same photograph, JPEG 2000 lossless.
The pixels are made here with pydicom (the radiograph is read from --cr), compressed with DCMTK's
dcmcjpeg (JPEG) and GDCM's gdcmconv (JPEG 2000); the transfer syntax of every copy is checked. The
output is the same on every run.

Usage: /usr/bin/python3 bench/make_codec_frames.py [--out DIR] [--cr FILE]
Needs python3-pydicom, dcmtk and libgdcm-tools. DIR defaults to /tmp/ondrel-codec-bench and is created
if missing; FILE defaults to /tmp/ondrel-bench-data/CR3000.dcm and must exist (make_cr_image.py).
"""

import argparse
import array
import math
import os
import random
import statistics
import subprocess
import sys
import tempfile

import pydicom
from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian

ROOT = "1.3.6.1.4.1.77777.99.2"  # the workstation's root, branch 99 for benchmark data
SIZE = 512
RGB_COLUMNS, RGB_ROWS = 800, 600

CT_IMAGE_STORAGE = "1.2.840.10008.5.1.4.1.1.2"
SECONDARY_CAPTURE_STORAGE = "1.2.840.10008.5.1.4.1.1.7"
VL_PHOTOGRAPHIC_STORAGE = "1.2.840.10008.5.1.4.1.1.77.1.4"

JPEG_BASELINE = "1.2.840.10008.1.2.4.50"
JPEG_LOSSLESS_SV1 = "1.2.840.10008.1.2.4.70"
JPEG2000_LOSSLESS = "1.2.840.10008.1.2.4.90"

# Each copy: the command that makes it from the native file, and the transfer syntax it must get.
# Without +un DCMTK gives a lossy copy a new SOP Instance UID, made from the clock, on every run.
BASELINE = (["dcmcjpeg", "+eb", "+un"], JPEG_BASELINE)
LOSSLESS_SV1 = (["dcmcjpeg", "+e1"], JPEG_LOSSLESS_SV1)
J2K_LOSSLESS = (["gdcmconv", "--j2k"], JPEG2000_LOSSLESS)


def dataset(sop_class, number, bits, signed, photometric, rows=SIZE, columns=SIZE):
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
    ds.Rows, ds.Columns = rows, columns
    ds.SamplesPerPixel = 3 if photometric == "RGB" else 1
    if ds.SamplesPerPixel == 3:
        ds.PlanarConfiguration = 0
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


def photograph_pixels(generator):
    """R, G, B rows of shaded skin with a brown lesion of irregular border, plus noise of sigma 3."""
    skin, rim, core = (226, 178, 152), (140, 88, 62), (84, 50, 38)
    centre_x, centre_y, radius_x, radius_y = 430.0, 290.0, 150.0, 110.0
    # The skin's shading and texture are smooth and separable, so they are made once per column and
    # once per row; only the lesion's box is computed pixel by pixel.
    column_shade = [0.22 * ((x - RGB_COLUMNS / 2) / (RGB_COLUMNS / 2)) ** 2 for x in range(RGB_COLUMNS)]
    column_texture = [math.sin(x / 37.0) for x in range(RGB_COLUMNS)]
    # Sensor noise: each random byte picks one of 256 equally likely quantiles of a normal law.
    normal = statistics.NormalDist(0, 3)
    offsets = [round(normal.inv_cdf((i + 0.5) / 256)) for i in range(256)]
    clamp = bytes(max(0, min(255, v)) for v in range(-64, 320))
    left, right = int(centre_x - radius_x * 1.3), int(centre_x + radius_x * 1.3) + 1
    data = bytearray()
    for y in range(RGB_ROWS):
        row_shade = 0.18 * ((y - RGB_ROWS / 2) / (RGB_ROWS / 2)) ** 2 - 0.08 * y / RGB_ROWS
        row_texture = 5.0 * math.cos(y / 53.0)
        weights = [1.0 - row_shade - shade for shade in column_shade]
        textures = [row_texture * texture for texture in column_texture]
        channels = [[c * w + t for w, t in zip(weights, textures)] for c in skin]
        dy = (y - centre_y) / radius_y
        if abs(dy) < 1.3:
            for x in range(left, right):
                dx = (x - centre_x) / radius_x
                border = 1.0 + 0.12 * math.sin(3 * math.atan2(dy, dx)) + 0.07 * math.cos(5 * math.atan2(dy, dx) + 1)
                depth = math.hypot(dx, dy) / border
                inside = min(1.0, max(0.0, (1.0 - depth) / 0.08))  # a soft edge of 8 % of the radius
                if inside == 0.0:
                    continue
                darkness = min(1.0, depth)
                for channel, edge, middle in zip(channels, rim, core):
                    lesion = middle + (edge - middle) * darkness
                    channel[x] += (lesion * weights[x] - channel[x]) * inside
        interleaved = [round(value) + 64 for pixel in zip(*channels) for value in pixel]
        draws = generator.randbytes(len(interleaved))
        data += bytes(clamp[value + offsets[draw]] for value, draw in zip(interleaved, draws))
    return array.array("B", data)


def transfer_syntax(path):
    return pydicom.dcmread(path, stop_before_pixels=True).file_meta.TransferSyntaxUID


def compress(native, out, copies):
    for name, (command, syntax) in copies:
        target = os.path.join(out, name)
        subprocess.run([*command, native, target], check=True)
        if transfer_syntax(target) != syntax:
            sys.exit(f"make_codec_frames: {target} has transfer syntax {transfer_syntax(target)}, not {syntax}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", default="/tmp/ondrel-codec-bench")
    parser.add_argument("--cr", default="/tmp/ondrel-bench-data/CR3000.dcm")
    arguments = parser.parse_args()
    out = arguments.out
    if not os.path.isfile(arguments.cr):
        sys.exit(f"make_codec_frames: {arguments.cr} is missing; run bench/make_cr_image.py first")
    os.makedirs(out, exist_ok=True)
    generator = random.Random(2024)
    # (native file, kept in DIR or not, its data set and pixel maker, its compressed copies)
    images = [
        ("ct16.dcm", False, dataset(CT_IMAGE_STORAGE, 1, 16, True, "MONOCHROME2"), ct_pixels,
         [("ct_lossless16.dcm", LOSSLESS_SV1), ("ct_j2k16.dcm", J2K_LOSSLESS)]),
        ("us8.dcm", False, dataset(SECONDARY_CAPTURE_STORAGE, 2, 8, False, "MONOCHROME2"), ultrasound_pixels,
         [("us_baseline8.dcm", BASELINE)]),
        ("rgb800x600.dcm", True,
         dataset(VL_PHOTOGRAPHIC_STORAGE, 3, 8, False, "RGB", rows=RGB_ROWS, columns=RGB_COLUMNS),
         photograph_pixels, [("rgb_lossless8.dcm", LOSSLESS_SV1), ("rgb_j2k8.dcm", J2K_LOSSLESS)]),
    ]
    written = []
    with tempfile.TemporaryDirectory() as temp:
        for name, kept, ds, pixels, copies in images:
            data = pixels(generator)
            if sys.byteorder != "little":
                data.byteswap()
            ds.PixelData = data.tobytes()
            native = os.path.join(out if kept else temp, name)
            ds.save_as(native, write_like_original=False)
            compress(native, out, copies)
            written += ([name] if kept else []) + [copy for copy, _ in copies]
    compress(arguments.cr, out, [("cr_lossless12.dcm", LOSSLESS_SV1), ("cr_j2k12.dcm", J2K_LOSSLESS)])
    written += ["cr_lossless12.dcm", "cr_j2k12.dcm"]
    print(f"make_codec_frames: wrote {', '.join(written)} into {out}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
