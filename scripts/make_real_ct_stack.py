#!/usr/bin/python3
"""Writes a stack of a real CT slice: tests/data/dicom/CT_small.dcm (128 x 128) repeated as SLICES
slices 2 mm apart along its normal, each shifted one more column to the right (the columns that come
in from the left are the slice's own, rolled round), so that its reformats show the anatomy as a
slanting structure. Each copy gets its own SOP Instance UID, instance number, position and slice
location; everything else, the pixels' values included, is the real slice's.

Usage: /usr/bin/python3 scripts/make_real_ct_stack.py --out DIR [--slices N]
Needs Debian's python3-pydicom and python3-numpy.
"""

import argparse
import os

import numpy as np
import pydicom

SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data", "dicom", "CT_small.dcm")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--out", required=True)
    parser.add_argument("--slices", type=int, default=24)
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    original = pydicom.dcmread(SOURCE)
    pixels = original.pixel_array
    row, column = np.array(original.ImageOrientationPatient[:3], float), np.array(original.ImageOrientationPatient[3:], float)
    normal = np.cross(row, column)
    origin = np.array(original.ImagePositionPatient, float)
    for i in range(args.slices):
        ds = pydicom.dcmread(SOURCE)
        ds.SOPInstanceUID = f"{original.SOPInstanceUID}.{i + 1}"
        ds.file_meta.MediaStorageSOPInstanceUID = ds.SOPInstanceUID
        ds.SeriesInstanceUID = original.SeriesInstanceUID + ".24"
        ds.InstanceNumber = i + 1
        position = origin + normal * 2.0 * i
        ds.ImagePositionPatient = [f"{v:.4f}" for v in position]
        ds.SliceLocation = f"{float(original.SliceLocation) + 2.0 * i:.4f}"
        ds.SpacingBetweenSlices = "2"
        ds.PixelData = np.roll(pixels, i, axis=1).astype(pixels.dtype).tobytes()
        ds.save_as(os.path.join(args.out, f"ct_{i + 1:03d}.dcm"))


if __name__ == "__main__":
    main()
