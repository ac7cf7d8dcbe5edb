#!/usr/bin/python3
"""Writes the CT series that the header-scan benchmark reads.

A 300-slice axial CT series of 512 x 512 signed 16-bit pixels, explicit VR little-endian with the
128-byte preamble, as a scanner would send it: patient, study, series, frame of reference, equipment,
image plane and pixel modules, CT acquisition and dose attributes, a few private elements, and
sequences (procedure code, request attributes with a nested protocol code sequence, CTDI phantom,
anatomic region, referenced image). The slices step along the normal of Image Orientation (Patient)
by the slice spacing, with Image Position (Patient) and Slice Location to match. The pixels are a
water cylinder in air with a bone ring, whose radius changes along the series. The output is the same
on every run (UIDs included), so repeated benchmark runs read the same bytes.

Usage: /usr/bin/python3 bench/make_ct_series.py [--out DIR] [--slices N] [--size N]
Needs Debian's python3-pydicom (scripts/bench installs it). DIR defaults to /tmp/ondrel-bench-data and
is created if missing; files CT000001.dcm ... are written into it, replacing those there.
"""

import argparse
import array
import math
import os
import sys

from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.sequence import Sequence
from pydicom.uid import ExplicitVRLittleEndian

CT_IMAGE_STORAGE = "1.2.840.10008.5.1.4.1.1.2"
ROOT = "1.3.6.1.4.1.77777.99"  # the workstation's root, branch 99 for benchmark data
STUDY_UID = ROOT + ".1.20240131"
SERIES_UID = STUDY_UID + ".2"
FRAME_OF_REFERENCE_UID = STUDY_UID + ".3"

SPACING = 0.703125  # mm per pixel
SLICE_SPACING = 1.25  # mm between slices, equal to the slice thickness
FIRST_Z = -180.0

AIR = -1000
WATER = 0
BONE = 1200
INTERCEPT = -1024


def code_item(value, scheme, meaning):
    item = Dataset()
    item.CodeValue = value
    item.CodingSchemeDesignator = scheme
    item.CodeMeaning = meaning
    return item


def pixel_row(size, inner, outer, y):
    """One row of stored values: air, a bone ring between the radii, water inside."""
    centre = (size - 1) / 2.0
    dy = y - centre

    def span(radius):
        if abs(dy) >= radius:
            return None
        half = math.sqrt(radius * radius - dy * dy)
        return max(0, int(centre - half)), min(size, int(centre + half) + 1)

    row = array.array("h", [AIR - INTERCEPT]) * size
    bone = span(outer)
    if bone:
        row[bone[0]:bone[1]] = array.array("h", [BONE - INTERCEPT]) * (bone[1] - bone[0])
        water = span(inner)
        if water:
            row[water[0]:water[1]] = array.array("h", [WATER - INTERCEPT]) * (water[1] - water[0])
    return row


def pixel_data(size, index, slices):
    # The phantom widens towards the middle of the series, as a body does.
    phase = math.sin(math.pi * (index + 0.5) / slices)
    outer = size * (0.30 + 0.12 * phase)
    inner = outer - size * 0.02
    data = array.array("h")
    for y in range(size):
        data.extend(pixel_row(size, inner, outer, y))
    if sys.byteorder != "little":
        data.byteswap()
    return data.tobytes()


def slice_dataset(index, slices, size):
    number = index + 1
    sop_uid = f"{SERIES_UID}.{number}"
    z = FIRST_Z + index * SLICE_SPACING

    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = CT_IMAGE_STORAGE
    meta.MediaStorageSOPInstanceUID = sop_uid
    meta.TransferSyntaxUID = ExplicitVRLittleEndian
    meta.ImplementationClassUID = ROOT + ".0.1"
    meta.ImplementationVersionName = "ONDREL_BENCH"

    ds = Dataset()
    ds.file_meta = meta
    ds.preamble = b"\0" * 128
    ds.is_little_endian = True
    ds.is_implicit_VR = False

    # SOP common and general image.
    ds.SpecificCharacterSet = "ISO_IR 100"
    ds.ImageType = ["ORIGINAL", "PRIMARY", "AXIAL"]
    ds.InstanceCreationDate = "20240131"
    ds.InstanceCreationTime = "101500.000000"
    ds.SOPClassUID = CT_IMAGE_STORAGE
    ds.SOPInstanceUID = sop_uid
    ds.StudyDate = ds.SeriesDate = ds.AcquisitionDate = ds.ContentDate = "20240131"
    ds.StudyTime = "100000.000000"
    ds.SeriesTime = "100512.000000"
    ds.AcquisitionTime = f"1005{12 + index // 60:02d}.{index % 60:02d}0000"
    ds.ContentTime = ds.AcquisitionTime
    ds.AccessionNumber = "A20240131001"
    ds.Modality = "CT"
    ds.Manufacturer = "ONDREL BENCH"
    ds.InstitutionName = "General Hospital"
    ds.InstitutionAddress = "1 Hospital Road"
    ds.ReferringPhysicianName = "REFERRER^ROBERT"
    ds.StationName = "CT01"
    ds.StudyDescription = "CT HEAD WITHOUT CONTRAST"
    ds.ProcedureCodeSequence = Sequence([code_item("CTHEAD", "LOCAL", "CT head without contrast")])
    ds.SeriesDescription = "Head 1.25 mm axial"
    ds.InstitutionalDepartmentName = "Radiology"
    ds.PerformingPhysicianName = "RADIOLOGIST^RITA"
    ds.OperatorsName = "TECH^TOM"
    ds.ManufacturerModelName = "Synthetic 64"
    # Patient.
    ds.PatientName = "DOE^JANE"
    ds.PatientID = "PID-0042"
    ds.IssuerOfPatientID = "GH"
    ds.PatientBirthDate = "19700101"
    ds.PatientSex = "F"
    ds.PatientAge = "054Y"
    ds.PatientSize = "1.68"
    ds.PatientWeight = "64"
    # CT acquisition.
    ds.BodyPartExamined = "HEAD"
    ds.ScanOptions = "HELICAL MODE"
    ds.SliceThickness = str(SLICE_SPACING)
    ds.KVP = "120"
    ds.DataCollectionDiameter = "500"
    ds.DeviceSerialNumber = "000042"
    ds.SoftwareVersions = "1.0"
    ds.ProtocolName = "Head routine"
    ds.ReconstructionDiameter = f"{SPACING * size:.1f}"
    ds.DistanceSourceToDetector = "1085.6"
    ds.DistanceSourceToPatient = "595"
    ds.GantryDetectorTilt = "0"
    ds.TableHeight = "145"
    ds.RotationDirection = "CW"
    ds.ExposureTime = "1000"
    ds.XRayTubeCurrent = "300"
    ds.Exposure = "300"
    ds.FilterType = "BODY FILTER"
    ds.GeneratorPower = "36"
    ds.FocalSpots = "0.7"
    ds.ConvolutionKernel = "H30s"
    ds.PatientPosition = "HFS"
    ds.RevolutionTime = 1.0
    ds.SingleCollimationWidth = 0.625
    ds.TotalCollimationWidth = 40.0
    ds.TableSpeed = 22.0
    ds.TableFeedPerRotation = 22.0
    ds.SpiralPitchFactor = 0.55
    ds.CTDIvol = 55.2
    ds.CTDIPhantomTypeCodeSequence = Sequence([code_item("113690", "DCM", "IEC Head Dosimetry Phantom")])
    # Relationship, frame of reference and image plane.
    ds.StudyInstanceUID = STUDY_UID
    ds.SeriesInstanceUID = SERIES_UID
    ds.StudyID = "1"
    ds.SeriesNumber = "2"
    ds.AcquisitionNumber = "1"
    ds.InstanceNumber = str(number)
    half = SPACING * (size - 1) / 2.0
    ds.ImagePositionPatient = [f"{-half:.6f}", f"{-half:.6f}", f"{z:.6f}"]
    ds.ImageOrientationPatient = ["1", "0", "0", "0", "1", "0"]
    ds.FrameOfReferenceUID = FRAME_OF_REFERENCE_UID
    ds.PositionReferenceIndicator = ""
    ds.SliceLocation = f"{z:.6f}"
    # Image pixel, CT image and VOI LUT.
    ds.SamplesPerPixel = 1
    ds.PhotometricInterpretation = "MONOCHROME2"
    ds.Rows = size
    ds.Columns = size
    ds.PixelSpacing = [str(SPACING), str(SPACING)]
    ds.BitsAllocated = 16
    ds.BitsStored = 16
    ds.HighBit = 15
    ds.PixelRepresentation = 1
    ds.WindowCenter = ["40", "400"]
    ds.WindowWidth = ["80", "1500"]
    ds.RescaleIntercept = str(INTERCEPT)
    ds.RescaleSlope = "1"
    ds.RescaleType = "HU"
    ds.WindowCenterWidthExplanation = ["BRAIN", "BONE"]
    ds.LossyImageCompression = "00"
    # Request and anatomy.
    ds.AnatomicRegionSequence = Sequence([code_item("T-D1100", "SRT", "Head")])
    request = Dataset()
    request.RequestedProcedureID = "RP-1"
    request.ScheduledProcedureStepID = "SPS-1"
    request.ScheduledProtocolCodeSequence = Sequence([code_item("CTHEAD", "LOCAL", "CT head routine")])
    ds.RequestAttributesSequence = Sequence([request])
    ds.PerformedProcedureStepStartDate = "20240131"
    ds.PerformedProcedureStepStartTime = "100000"
    ds.PerformedProcedureStepID = "PPS-1"
    ds.PerformedProcedureStepDescription = "CT head"
    if index > 0:
        previous = Dataset()
        previous.ReferencedSOPClassUID = CT_IMAGE_STORAGE
        previous.ReferencedSOPInstanceUID = f"{SERIES_UID}.{index}"
        ds.ReferencedImageSequence = Sequence([previous])
    # A scanner's private block.
    block = ds.private_block(0x0009, "ONDREL BENCH PRIVATE", create=True)
    block.add_new(0x01, "LO", "scan parameters v1")
    block.add_new(0x02, "DS", "0.5")
    block.add_new(0x03, "UL", 1)
    ds.PixelData = pixel_data(size, index, slices)
    ds["PixelData"].VR = "OW"
    return ds


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--out", default="/tmp/ondrel-bench-data", help="output folder")
    parser.add_argument("--slices", type=int, default=300)
    parser.add_argument("--size", type=int, default=512, help="rows and columns")
    arguments = parser.parse_args()
    os.makedirs(arguments.out, exist_ok=True)
    for index in range(arguments.slices):
        path = os.path.join(arguments.out, f"CT{index + 1:06d}.dcm")
        slice_dataset(index, arguments.slices, arguments.size).save_as(path, write_like_original=False)
    print(f"make_ct_series: {arguments.slices} slices of {arguments.size} x {arguments.size} in {arguments.out}")


if __name__ == "__main__":
    main()
