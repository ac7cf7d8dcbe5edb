#!/usr/bin/python3
"""Writes the large radiograph that the render benchmark reads.

A 3000 x 3000 computed radiograph of unsigned 12-bit pixels (16 allocated), MONOCHROME2, explicit VR
little-endian with the 128-byte preamble, without a window in the file, so that the core estimates
one from the pixels. The pixels are smooth shading with a bright disc, the same on every run.

Usage: /usr/bin/python3 bench/make_cr_image.py [--out FILE]
FILE defaults to /tmp/ondrel-bench-data/CR3000.dcm. Needs Debian's python3-pydicom.
"""

import argparse
import array
import os

from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian

CR_IMAGE_STORAGE = "1.2.840.10008.5.1.4.1.1.1"
ROOT = "1.3.6.1.4.1.77777.99.2"
SIZE = 3000


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", default="/tmp/ondrel-bench-data/CR3000.dcm")
    out = parser.parse_args().out
    os.makedirs(os.path.dirname(out) or ".", exist_ok=True)

    pixels = array.array("H")
    centre = SIZE / 2.0
    for y in range(SIZE):
        row = [((x * 3 + y * 2) // 4) % 4096 for x in range(SIZE)]
        dy = (y - centre) ** 2
        for x in range(SIZE // 3, 2 * SIZE // 3):
            if (x - centre) ** 2 + dy < (SIZE / 6.0) ** 2:
                row[x] = 4000
        pixels.extend(row)

    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = CR_IMAGE_STORAGE
    meta.MediaStorageSOPInstanceUID = ROOT + ".1.1"
    meta.TransferSyntaxUID = ExplicitVRLittleEndian
    ds = Dataset()
    ds.file_meta = meta
    ds.preamble = b"\0" * 128
    ds.SOPClassUID = CR_IMAGE_STORAGE
    ds.SOPInstanceUID = meta.MediaStorageSOPInstanceUID
    ds.StudyInstanceUID = ROOT + ".2"
    ds.SeriesInstanceUID = ROOT + ".3"
    ds.Modality = "CR"
    ds.PatientName = "Bench^Radiograph"
    ds.PatientID = "BENCH-CR"
    ds.InstanceNumber = 1
    ds.SamplesPerPixel = 1
    ds.PhotometricInterpretation = "MONOCHROME2"
    ds.Rows = SIZE
    ds.Columns = SIZE
    ds.BitsAllocated = 16
    ds.BitsStored = 12
    ds.HighBit = 11
    ds.PixelRepresentation = 0
    ds.PixelSpacing = [0.139, 0.139]
    ds.PixelData = pixels.tobytes()
    ds.is_little_endian = True
    ds.is_implicit_VR = False
    ds.save_as(out, write_like_original=False)


if __name__ == "__main__":
    main()
