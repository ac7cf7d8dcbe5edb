"""ondrel.read against pydicom's reading of the same files, and against `ondrel dump`."""

import pathlib
import tempfile
import unittest

import pydicom
from pydicom.multival import MultiValue
from pydicom.sequence import Sequence
from pydicom.valuerep import PersonName

import ondrel
import support


def plain(value):
    """pydicom's value as the plain Python value ondrel gives."""
    if isinstance(value, Sequence):
        return [[(int(element.tag), plain(element.value)) for element in item] for item in value]
    if isinstance(value, (MultiValue, list)):
        return [plain(each) for each in value] if len(value) else None
    if isinstance(value, PersonName):
        return str(value)
    if isinstance(value, float):
        return float(value)
    if isinstance(value, int):
        return int(value)
    return value


def ours(value):
    """ondrel's value with sequences' items listed as pydicom's are."""
    if isinstance(value, list) and value and isinstance(value[0], ondrel.DataSet):
        return [[(element.tag, ours(element.value)) for element in item] for item in value]
    return value


class ValuesAgreeWithPydicom(unittest.TestCase):
    # Real files of both encodings, with sequences nested three deep (rtstruct) and multi-valued text.
    FILES = ("CT_small.dcm", "MR_small_implicit.dcm", "rtstruct.dcm", "rtplan.dcm")

    def test_every_element_has_pydicoms_value(self):
        for name in self.FILES:
            path = support.PYDICOM_FILES / name
            theirs = pydicom.dcmread(path, force=True)
            ds = ondrel.read(path)
            for element in list(theirs.file_meta) + list(theirs):
                with self.subTest(file=name, tag=str(element.tag)):
                    expected = plain(element.value)
                    if element.VR == "SL":
                        expected = expected & 0xFFFF  # the engine reads an SL value's low 16 bits
                    self.assertEqual(ours(ds[int(element.tag)].value), expected)

    def test_keywords_tags_and_pairs_find_the_same_element(self):
        ds = ondrel.read(support.SAMPLE)
        self.assertEqual(ds.PatientName, "CompressedSamples^CT1")
        self.assertEqual(ds["Rows"].tag, 0x00280010)
        self.assertEqual(ds[(0x0028, 0x0011)].value, 128)
        self.assertEqual(ds[0x00200032].keyword, "ImagePositionPatient")
        self.assertEqual(ds[0x00200032].vr, "DS")
        self.assertEqual(ds.get("WindowCenter", "none"), "none")
        self.assertIn("PixelData", ds)
        self.assertNotIn(0x00189999, ds)
        with self.assertRaises(KeyError):
            ds["NoSuchKeyword"]
        with self.assertRaises(AttributeError):
            ds.WindowCenter
        with self.assertRaises(TypeError):
            ds[1.5]

    def test_iteration_gives_the_elements_in_file_order(self):
        ds = ondrel.read(support.SAMPLE)
        theirs = pydicom.dcmread(support.SAMPLE)
        tags = [element.tag for element in ds]
        self.assertEqual(len(tags), len(ds))
        self.assertEqual(tags, [int(element.tag) for element in list(theirs.file_meta) + list(theirs)])


class DumpText(unittest.TestCase):
    def test_str_is_what_ondrel_dump_prints(self):
        for path in (support.SAMPLE, support.PYDICOM_FILES / "rtstruct.dcm"):
            with self.subTest(file=path.name):
                self.assertEqual(str(ondrel.read(path)), support.run(support.ondrel_executable(), "dump", path))


class Failures(unittest.TestCase):
    def test_a_file_that_is_not_dicom_says_so_with_the_engines_text(self):
        path = support.REPOSITORY / "README.md"
        with self.assertRaises(ondrel.Error) as raised:
            ondrel.read(path)
        self.assertEqual(str(raised.exception), f"{path}: not a DICOM file")
        self.assertEqual(raised.exception.hresult, 0x80004005)
        self.assertIn("It's not a DICOM file or a well formatted DICOM file.", raised.exception.description)

    def test_a_truncated_file_names_where_the_parse_stopped(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "cut.dcm"
            path.write_bytes(support.SAMPLE.read_bytes()[:1000])
            with self.assertRaises(ondrel.Error) as raised:
                ondrel.read(path)
        self.assertIn(": cannot be read past byte ", str(raised.exception))
        self.assertIn("File=", raised.exception.description)

    def test_a_missing_file_is_file_not_found(self):
        with self.assertRaises(FileNotFoundError):
            ondrel.read("/nonexistent/x.dcm")
        with self.assertRaises(TypeError):
            ondrel.read(42)


if __name__ == "__main__":
    unittest.main()
