"""ondrel.pixels against pydicom's pixel arrays of uncompressed files and the decodes of DCMTK's
dcmdjpeg (JPEG) and GDCM's gdcmconv (JPEG 2000) of compressed ones."""

import pathlib
import tempfile
import unittest

import numpy
import pydicom

import ondrel
import support

FILES = support.PYDICOM_FILES


def pydicom_pixels(path, frame=None):
    array = pydicom.dcmread(path).pixel_array
    return array if frame is None else array[frame]


class UncompressedAgreeWithPydicom(unittest.TestCase):
    def test_grey_colour_and_multi_frame_files(self):
        cases = [
            ("CT_small.dcm", 0, None),  # signed 16-bit
            ("MR_small_implicit.dcm", 0, None),
            ("SC_rgb_small_odd.dcm", 0, None),  # RGB, odd size
            ("rtdose.dcm", 0, 0),  # 32-bit, 15 frames
            ("rtdose.dcm", 14, 14),
        ]
        for name, frame, theirs in cases:
            with self.subTest(file=name, frame=frame):
                expected = pydicom_pixels(FILES / name, theirs)
                ours = ondrel.pixels(FILES / name, frame)
                self.assertEqual(ours.dtype, expected.dtype.newbyteorder("<"))
                numpy.testing.assert_array_equal(ours, expected)

    def test_colour_by_plane_comes_interleaved(self):
        ds = pydicom.dcmread(FILES / "SC_rgb_small_odd.dcm")
        expected = ds.pixel_array
        ds.PlanarConfiguration = 1
        ds.NumberOfFrames = 1
        ds.PixelData = numpy.ascontiguousarray(expected.transpose(2, 0, 1)).tobytes()
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "planar.dcm"
            ds.save_as(path)
            numpy.testing.assert_array_equal(ondrel.pixels(path), expected)


class CompressedAgreeWithReferenceDecoders(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def decoded(self, tool, *options, source):
        out = pathlib.Path(self.folder.name) / ("ref_" + pathlib.Path(source).name)
        support.run(support.tool(tool), *options, source, out)
        return pydicom_pixels(out)

    def test_jpeg_as_dcmdjpeg_decodes_it(self):
        # 12-bit extended, YBR_FULL baseline (kept Y, Cb, Cr: +cn), RGB lossless process 14 SV1.
        for name in ("JPGExtended.dcm", "SC_rgb_dcmtk_+eb+cy+n1.dcm", "SC_rgb_jpeg_gdcm.dcm"):
            with self.subTest(file=name):
                expected = self.decoded("dcmdjpeg", "+cn", "+px", source=FILES / name)
                numpy.testing.assert_array_equal(ondrel.pixels(FILES / name), expected)

    def test_jpeg_lossless_of_signed_ct_gives_the_original_samples(self):
        compressed = pathlib.Path(self.folder.name) / "ct_lossless.dcm"
        support.run(support.tool("dcmcjpeg"), support.SAMPLE, compressed)  # process 14 SV1 by default
        self.assertEqual(pydicom.dcmread(compressed).file_meta.TransferSyntaxUID, "1.2.840.10008.1.2.4.70")
        ours = ondrel.pixels(compressed)
        numpy.testing.assert_array_equal(ours, self.decoded("dcmdjpeg", source=compressed))
        numpy.testing.assert_array_equal(ours, pydicom_pixels(support.SAMPLE))

    def test_jpeg_2000_as_gdcmconv_decodes_it(self):
        # 16-bit signed lossy, 14-bit signed.
        for name in ("JPEG2000.dcm", "693_J2KI.dcm"):
            with self.subTest(file=name):
                expected = self.decoded("gdcmconv", "--raw", source=FILES / name)
                ours = ondrel.pixels(FILES / name)
                self.assertEqual(ours.dtype, numpy.int16)
                numpy.testing.assert_array_equal(ours, expected)

    def test_signed_jpeg_2000_samples_are_sign_extended_from_bits_stored(self):
        # The stream codes 13-bit samples as unsigned, the header says signed: gdcmconv's decode, read as
        # the two's complement of 13 bits.
        name = "J2K_pixelrep_mismatch.dcm"
        stored = self.decoded("gdcmconv", "--raw", source=FILES / name).astype(numpy.int32)
        expected = numpy.where(stored >= 1 << 12, stored - (1 << 13), stored)
        numpy.testing.assert_array_equal(ondrel.pixels(FILES / name), expected)

    def test_lossless_jpeg_2000_gives_the_uncompressed_files_samples(self):
        numpy.testing.assert_array_equal(ondrel.pixels(FILES / "MR_small_jp2klossless.dcm"),
                                         pydicom_pixels(FILES / "MR_small.dcm"))


class Refusals(unittest.TestCase):
    def expect_error(self, name, words):
        with self.assertRaises(ondrel.Error) as raised:
            ondrel.pixels(FILES / name)
        self.assertIn(words, str(raised.exception))

    def test_pixels_that_would_be_wrong_are_refused(self):
        self.expect_error("MR_small_RLE.dcm", "RLE Lossless (1.2.840.10008.1.2.5) is not decoded")
        self.expect_error("liver_1frame.dcm", "Bits Allocated (0028,0100) is 1")
        # YBR_FULL_422 stores two samples a pixel, not three.
        self.expect_error("SC_ybr_full_422_uncompressed.dcm", "the pixel data hold")

    def test_frames_and_paths_outside_the_file(self):
        with self.assertRaises(IndexError):
            ondrel.pixels(support.SAMPLE, 1)
        with self.assertRaises(ValueError):
            ondrel.pixels(support.SAMPLE, -1)
        with self.assertRaises(FileNotFoundError):
            ondrel.pixels(pathlib.Path("/nonexistent.dcm"))
        with self.assertRaises(ondrel.Error) as raised:
            ondrel.pixels(support.REPOSITORY / "README.md")
        self.assertTrue(str(raised.exception).endswith("README.md: not a DICOM file"))


if __name__ == "__main__":
    unittest.main()
