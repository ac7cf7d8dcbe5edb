"""Study.open: the workstation's objects built from files, their properties against pydicom's reading
of the same files, the series in slice order and the links between the objects."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import warnings

import numpy
import pydicom

import ondrel
import support


class StudyOpen(unittest.TestCase):
    def test_a_folder_of_two_patients_and_a_file_that_is_no_image(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("CT_small.dcm", "MR_small.dcm"):
                shutil.copy(support.PYDICOM_FILES / name, folder)
            (pathlib.Path(folder) / "notes.txt").write_text("not DICOM")
            with warnings.catch_warnings(record=True) as caught:
                warnings.simplefilter("always")
                studies = ondrel.Study.open(folder)
            self.assertEqual([w.category for w in caught], [ondrel.SkippedFileWarning])
            self.assertIn("notes.txt: not a DICOM file", str(caught[0].message))
            self.assertEqual(len(studies), 2)
            for study in studies:
                image = study.series[0].images[0]
                theirs = pydicom.dcmread(image.file_name)
                self.assertEqual(study.study_instance_uid, theirs.StudyInstanceUID)
                self.assertEqual(study.patient.patient_name, str(theirs.PatientName))
                self.assertEqual(study.series[0].modality, theirs.Modality)
                self.assertEqual(study.series[0].series_instance_uid, theirs.SeriesInstanceUID)
                self.assertEqual(image.sop_instance_uid, theirs.SOPInstanceUID)
                self.assertEqual((image.rows, image.columns), (theirs.Rows, theirs.Columns))
                # (horizontal, vertical): the reverse of the DICOM text's row spacing first; the objects
                # keep it in single precision.
                numpy.testing.assert_allclose(image.pixel_spacing, theirs.PixelSpacing[::-1], rtol=1e-7)
                self.assertEqual(image.frame_index, 0)
                self.assertEqual(image.series, study.series[0])
                self.assertEqual(image.series.study, study)
                self.assertIn(study, study.patient.studies)

    def test_a_series_comes_in_slice_order(self):
        with tempfile.TemporaryDirectory() as folder:
            # Copied under names that sort against the slices' order.
            files = sorted((support.SPATIAL / "axial").glob("*.dcm"))
            for index, path in enumerate(files):
                shutil.copy(path, pathlib.Path(folder) / f"{len(files) - index}.dcm")
            images = ondrel.Study.open(folder)[0].series[0].images
        expected = sorted(pydicom.dcmread(path).SOPInstanceUID for path in files)
        positions = {pydicom.dcmread(path).SOPInstanceUID: pydicom.dcmread(path) for path in files}
        along = [numpy.dot(numpy.cross(*numpy.reshape(positions[uid].ImageOrientationPatient, (2, 3))),
                           positions[uid].ImagePositionPatient) for uid in (image.sop_instance_uid for image in images)]
        self.assertEqual(sorted(image.sop_instance_uid for image in images), expected)
        self.assertEqual(along, sorted(along))

    def test_nothing_there_is_file_not_found(self):
        with self.assertRaises(FileNotFoundError):
            ondrel.Study.open("/nonexistent/folder")

    def test_a_dicomdir_gives_the_images_its_records_name(self):
        dicomdir = support.PYDICOM_FILES / "dicomdirtests" / "DICOMDIR"
        studies = ondrel.Study.open(dicomdir)
        ours = sorted(image.sop_instance_uid for study in studies for series in study.series
                      for image in series.images)
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", DeprecationWarning)  # pydicom's DicomDir class
            records = pydicom.dcmread(dicomdir).DirectoryRecordSequence
        theirs = sorted(record.ReferencedSOPInstanceUIDInFile for record in records
                        if record.DirectoryRecordType == "IMAGE")
        self.assertEqual(len(theirs), 31)
        self.assertEqual(ours, theirs)
        self.assertEqual(len(studies), sum(record.DirectoryRecordType == "STUDY" for record in records))


class OpenDatabase(unittest.TestCase):
    def test_what_ondrel_store_recorded_comes_back(self):
        with tempfile.TemporaryDirectory() as folder:
            database = pathlib.Path(folder) / "workstation.sqlite"
            environment = dict(os.environ, ONDREL_DB_CONNECTION=str(database),
                               ONDREL_DICOM_FILES=str(pathlib.Path(folder) / "tree"))
            subprocess.run([support.ondrel_executable(), "store", "--copy", str(support.SAMPLE)],
                           env=environment, check=True, capture_output=True)
            studies = ondrel.Study.open_database(database)
            theirs = pydicom.dcmread(support.SAMPLE)
            self.assertEqual([study.study_instance_uid for study in studies], [theirs.StudyInstanceUID])
            image = studies[0].series[0].images[0]
            self.assertEqual(image.sop_instance_uid, theirs.SOPInstanceUID)
            # The copy in the storage tree, byte for byte.
            self.assertTrue(image.file_name.startswith(str(pathlib.Path(folder) / "tree")))
            self.assertEqual(pathlib.Path(image.file_name).read_bytes(), support.SAMPLE.read_bytes())

    def test_a_database_that_cannot_be_opened_is_an_error(self):
        with self.assertRaises(ondrel.Error) as raised:
            ondrel.Study.open_database("/nonexistent/folder/workstation.sqlite")
        self.assertIn("unable to open database file", str(raised.exception))


if __name__ == "__main__":
    unittest.main()
