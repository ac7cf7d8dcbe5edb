#!/usr/bin/python3
"""Writes a synthetic stack of parallel slices as DICOM files, from a volume that numpy knows, and
saves the volume beside them, so that a test can check the reformats the core makes of the stack
against the volume itself.

The volume V[slice, row, column] holds a value that tells every voxel apart:
  (column * 7 + row * 13 + slice * 101) % RANGE + LOW
with RANGE and LOW chosen by the sample kind, and a few extremes planted for the slab tests: the
largest and smallest values of the kind at known voxels. Slice i lies at position + i * spacing along
the slice normal (the cross product of the row and column directions), moved i * TILT along the column
direction as a gantry tilt moves it, and each file's Image Position (Patient) says so. The files are
written in reverse slice order under shuffled names, so that the series order comes from the positions
and not from the names.

Usage: /usr/bin/python3 scripts/make_mpr_stack.py --out DIR [--slices N] [--rows N] [--columns N]
       [--pixel-spacing MM] [--slice-spacing MM] [--thickness MM] [--kind u16|s16|u8|s8]
       [--orientation axial|coronal] [--tilt MM]
Writes DIR/slice_NNN.dcm and DIR/volume.npy (int32, slices x rows x columns) and DIR/volume.txt,
which gives the geometry as "name value" lines. Needs Debian's python3-pydicom and python3-numpy.
"""

import argparse
import os

import numpy as np
from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian

KINDS = {
    # name: (bits allocated, bits stored, pixel representation, low, range)
    "u16": (16, 12, 0, 0, 4096),
    "s16": (16, 16, 1, -1024, 4096),
    "u8": (8, 8, 0, 0, 256),
    "s8": (8, 8, 1, -128, 256),
}
ORIENTATIONS = {
    "axial": ((1.0, 0.0, 0.0), (0.0, 1.0, 0.0)),
    "coronal": ((1.0, 0.0, 0.0), (0.0, 0.0, -1.0)),
}
ROOT = "1.3.6.1.4.1.77777.98"  # the workstation's root, branch 98 for MPR test stacks


def volume_of(slices, rows, columns, kind):
    _, _, signed, low, span = KINDS[kind]
    s, r, c = np.meshgrid(np.arange(slices), np.arange(rows), np.arange(columns), indexing="ij")
    volume = (c * 7 + r * 13 + s * 101) % span + low
    # Extremes for the slab: the kind's largest and smallest value at known voxels.
    volume[slices // 2, rows // 2, columns // 2] = low + span - 1
    volume[slices // 2, rows // 2 + 1, columns // 2] = low
    return volume.astype(np.int32)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--out", required=True)
    parser.add_argument("--slices", type=int, default=20)
    parser.add_argument("--rows", type=int, default=48)
    parser.add_argument("--columns", type=int, default=64)
    parser.add_argument("--pixel-spacing", type=float, default=1.0)
    parser.add_argument("--slice-spacing", type=float, default=2.0)
    parser.add_argument("--thickness", type=float, default=None, help="Spacing Between Slices; the slice spacing by default")
    parser.add_argument("--kind", choices=sorted(KINDS), default="s16")
    parser.add_argument("--orientation", choices=sorted(ORIENTATIONS), default="axial")
    parser.add_argument("--tilt", type=float, default=0.0, help="each slice's move along the column direction, in mm")
    args = parser.parse_args()

    allocated, stored, signed, low, span = KINDS[args.kind]
    row_direction, column_direction = ORIENTATIONS[args.orientation]
    normal = np.cross(row_direction, column_direction)
    origin = np.array([-100.0, -80.0, 40.0])
    volume = volume_of(args.slices, args.rows, args.columns, args.kind)
    os.makedirs(args.out, exist_ok=True)
    study = ROOT + ".1"
    series = f"{ROOT}.2.{sorted(KINDS).index(args.kind) + 1}.{sorted(ORIENTATIONS).index(args.orientation) + 1}"
    dtype = {(16, 0): "<u2", (16, 1): "<i2", (8, 0): "u1", (8, 1): "i1"}[(allocated, signed)]
    order = list(range(args.slices))[::-1]
    for name_index, i in enumerate(order):
        position = origin + normal * args.slice_spacing * i + np.array(column_direction) * args.tilt * i
        meta = FileMetaDataset()
        meta.MediaStorageSOPClassUID = "1.2.840.10008.5.1.4.1.1.2"
        meta.MediaStorageSOPInstanceUID = f"{series}.{i + 1}"
        meta.TransferSyntaxUID = ExplicitVRLittleEndian
        ds = Dataset()
        ds.file_meta = meta
        ds.SOPClassUID = meta.MediaStorageSOPClassUID
        ds.SOPInstanceUID = meta.MediaStorageSOPInstanceUID
        ds.ImageType = ["ORIGINAL", "PRIMARY", "AXIAL"]
        ds.Modality = "CT"
        ds.PatientName = "MPR^Stack"
        ds.PatientID = "MPR-STACK"
        ds.StudyInstanceUID = study
        ds.SeriesInstanceUID = series
        ds.FrameOfReferenceUID = ROOT + ".3"
        ds.SeriesNumber = 4
        ds.InstanceNumber = i + 1
        ds.ImagePositionPatient = [f"{v:.4f}" for v in position]
        ds.ImageOrientationPatient = [f"{v:.1f}" for v in row_direction + column_direction]
        ds.PixelSpacing = [f"{args.pixel_spacing:g}", f"{args.pixel_spacing:g}"]
        ds.SliceThickness = f"{args.slice_spacing:g}"
        ds.SpacingBetweenSlices = f"{args.slice_spacing if args.thickness is None else args.thickness:g}"
        ds.SamplesPerPixel = 1
        ds.PhotometricInterpretation = "MONOCHROME2"
        ds.Rows = args.rows
        ds.Columns = args.columns
        ds.BitsAllocated = allocated
        ds.BitsStored = stored
        ds.HighBit = stored - 1
        ds.PixelRepresentation = signed
        ds.WindowCenter = str(low + span // 2)
        ds.WindowWidth = str(span)
        ds.RescaleIntercept = "0"
        ds.RescaleSlope = "1"
        ds.PixelData = volume[i].astype(dtype).tobytes()
        ds.save_as(os.path.join(args.out, f"slice_{(name_index * 37) % 1000:03d}_{name_index:03d}.dcm"),
                   write_like_original=False)
    np.save(os.path.join(args.out, "volume.npy"), volume)
    with open(os.path.join(args.out, "volume.txt"), "w") as out:
        for name, value in vars(args).items():
            out.write(f"{name} {value}\n")


if __name__ == "__main__":
    main()
