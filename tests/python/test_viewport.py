"""ondrel.Viewport: its pictures against what `ondrel render` writes for the same operations, every
method of the component's interface by its name, and failures with the core's texts."""

import pathlib
import re
import tempfile
import unittest

import numpy

import ondrel
import support


class PicturesEqualOndrelRender(unittest.TestCase):
    # Each row: the window's size, `ondrel render` options, and the same operations on a viewport.
    CASES = [
        ("the image as it comes", (512, 512), [], lambda v: None),
        ("window/level, zoom, turn, palette", (200, 160),
         ["--window", "400", "--level", "40", "--zoom", "150", "--rotate", "right", "--palette", "hot-iron"],
         lambda v: (v.window_level(400, 40), v.zoom(150), v.rotate("right"), v.palette("COLOR_PALETTE_HOT_IRON"))),
        ("mirror, pan, invert, turn left, flip", (160, 200),
         ["--flip", "lr", "--pan", "12,-7", "--invert", "--rotate", "left", "--flip", "ud"],
         lambda v: (v.flip("lr"), v.pan(12, -7), v.invert(), v.rotate("left"), v.flip("ud"))),
        ("the magnifying glass", (256, 256), ["--magnify", "100,80"], lambda v: v.magnify(100, 80)),
    ]

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(lambda: [p.unlink() for p in self.folder.iterdir()] and None)

    def render(self, name, size, options):
        out = self.folder / f"{name}.bmp"
        support.run(support.ondrel_executable(), "render", support.SAMPLE, "-o", out, "--size",
                    f"{size[0]}x{size[1]}", *options)
        return out

    def test_operations(self):
        for words, size, options, operate in self.CASES:
            with self.subTest(words), ondrel.Viewport(*size) as view:
                reference = self.render("reference", size, options)
                view.show(support.SAMPLE)
                operate(view)
                picture = view.picture()
                self.assertEqual(picture.shape, (size[1], size[0], 3))
                self.assertEqual(picture.dtype, numpy.uint8)
                numpy.testing.assert_array_equal(picture, support.read_bmp(reference))
                saved = self.folder / "saved.bmp"
                view.save(saved)
                self.assertEqual(saved.read_bytes(), reference.read_bytes())

    def test_a_measurement_drawn_through_the_mouse_methods(self):
        out = self.folder / "measured.bmp"
        printed = support.run(support.ondrel_executable(), "render", support.SAMPLE, "-o", out, "--size", "300x300",
                              "--measure", "line:50,60:200,220")
        with ondrel.Viewport(300, 300) as view:
            view.show(support.SAMPLE)
            self.assertTrue(view.MeasOnMouseButtonDown((50, 60), ondrel.MeasurementsEnum.MEAS_LINE))
            self.assertIsNone(view.MeasOnMouseMove((200, 220)))
            self.assertTrue(view.MeasOnMouseButtonUp((200, 220)))
            view.Draw()
            self.assertEqual(view.GetMeasurementsText(), printed)
            numpy.testing.assert_array_equal(view.picture(), support.read_bmp(out))

    def test_save_through_the_component_and_the_display_pixels(self):
        through_core = self.folder / "core.bmp"
        raw = self.folder / "display.raw"
        support.run(support.ondrel_executable(), "render", support.SAMPLE, "-o", through_core, "--size", "128x96",
                    "--encoding", "image/bmp", "--display-raw", raw)
        with ondrel.Viewport(128, 96) as view:
            view.show(support.SAMPLE)
            saved = self.folder / "saved.any"
            view.save(saved, mime="image/bmp")
            self.assertEqual(saved.read_bytes(), through_core.read_bytes())
            uid = ondrel.read(support.SAMPLE).SOPInstanceUID
            data, rows, columns, colour = view.GetImageCurrentPixelData(uid, 0)
            self.assertEqual((rows, columns, colour), (128, 128, False))
            self.assertEqual(data, raw.read_bytes())


class EveryMethod(unittest.TestCase):
    def test_every_method_and_enumerator_ondrel_run_lists(self):
        listing = support.run(support.ondrel_executable(), "run", "--methods")
        main = listing.split("IOndrelDicomDir")[0]
        measurements = listing.split("IOndrelMeasurements")[1].split("Enumerations")[0]
        names = re.findall(r"^  (\w+)", main + measurements, re.MULTILINE)
        self.assertEqual(len(names), 75)
        for name in names:
            self.assertTrue(callable(getattr(ondrel.Viewport, name, None)), name)
        enumerations = {enum(0).name.rsplit("_", 1)[0]: enum for enum in (
            ondrel.ColorPaletteEnum, ondrel.ImageRotationFlipEnum, ondrel.MeasurementsEnum, ondrel.ReferenceLinesEnum,
            ondrel.SynchronizeSeriesEnum, ondrel.MprOperationsEnum, ondrel.MipOperationsEnum)}
        for name, value in re.findall(r"(\w+)=(\d+)", listing.split("Enumerations")[1]):
            self.assertTrue(any(getattr(enum, name, None) == int(value) for enum in enumerations.values()), name)

    def test_out_parameters_come_back_as_python_values(self):
        with ondrel.Viewport(64, 64) as view:
            view.show(support.SAMPLE)
            self.assertEqual(view.GetColorPaletteMode(), ondrel.ColorPaletteEnum.COLOR_PALETTE_NONE)
            view.ApplyColorPalette(2)
            self.assertIs(view.GetColorPaletteMode(), ondrel.ColorPaletteEnum.COLOR_PALETTE_HOT_IRON)
            view.ZoomImage(200)
            self.assertEqual(view.GetCurrentImageZoom(), 200)
            self.assertIs(view.AreMeasurementsVisible(), True)
            self.assertIs(view.GetMprMode(), ondrel.MprOperationsEnum.MPR_MODE_NONE)
            bitmap = view.GetImageHBITMAP(0, 0, 64, 64)
            self.assertEqual((bitmap.ndim, bitmap.shape[2], bitmap.dtype), (3, 3, numpy.uint8))
            view.ReleaseHBITMAP()

    def test_derived_series_and_two_viewports_together(self):
        axial = ondrel.Study.open(support.SPATIAL / "axial")[0].series[0]
        coronal = ondrel.Study.open(support.SPATIAL / "coronal")[0].series[0]
        with ondrel.Viewport(128, 128) as first, ondrel.Viewport(128, 128) as second:
            first.show(axial.images[2])
            second.show(coronal.images[1])
            first.SetReferenceLinesMode("REFERENCE_LINE_CURRENT_IMAGE")
            second.CalculateReferenceLines(first)
            self.assertIn("reference ", first.GetMeasurementsText() + second.GetMeasurementsText())
            first.SetReferenceLinesMode(ondrel.ReferenceLinesEnum.REFERENCE_LINE_OFF)
            derived = first.GenerateMprSeries(axial.images[0])
            self.assertEqual(len(derived), 3)
            self.assertTrue(all(isinstance(series, ondrel.Series) and series.images for series in derived))
            second.show(derived[0].images[0])
            self.assertIs(first.GetMprMode(), ondrel.MprOperationsEnum.MPR_MODE_GENERATED)
            first.EndMprMode()


class Failures(unittest.TestCase):
    def test_the_core_failures_carry_its_codes_and_texts(self):
        with ondrel.Viewport(32, 32) as view:
            image = ondrel.Study.open(support.SAMPLE)[0].series[0].images[0]
            with self.assertRaises(ondrel.Error) as raised:
                view.GenerateVolumeSeries(image, 0, 100)
            self.assertEqual(raised.exception.hresult, 0x80004005)
            self.assertEqual(str(raised.exception),
                             "GenerateVolumeSeries failed (0x80004005): The series has fewer than two slices.")
            with self.assertRaises(ondrel.Error) as raised:
                view.InitializeTrace("trace.log", 5)
            self.assertEqual(raised.exception.hresult, 0x80004003)
            self.assertEqual(raised.exception.description, "The Ondrel received an invalid trace level.")

    def test_wrong_arguments_never_reach_the_core(self):
        with ondrel.Viewport(32, 32) as view:
            for call, error in [
                (lambda: view.PanImage(1), TypeError),
                (lambda: view.PanImage(1, "2"), TypeError),
                (lambda: view.PanImage(1, 2**31), ValueError),
                (lambda: view.ZoomImage(-1), ValueError),
                (lambda: view.ApplyColorPalette("COLOR_PALETTE_PINK"), ValueError),
                (lambda: view.ApplyColorPalette(9), ValueError),
                (lambda: view.RenderImage(support.SAMPLE, False), TypeError),
                (lambda: view.CalculateReferenceLines(None), TypeError),
                (lambda: view.MagnifyingGlass((1, 2, 3)), TypeError),
                (lambda: view.window_level(0, 40), ValueError),
                (lambda: view.rotate("up"), ValueError),
                (lambda: view.save("picture.xyz"), ValueError),
            ]:
                with self.assertRaises(error):
                    call()
        with self.assertRaises(ValueError):
            view.Draw()
        with self.assertRaises(ValueError):
            ondrel.Viewport(0, 10)

    def test_a_save_that_writes_nothing_fails(self):
        with ondrel.Viewport(32, 32) as view, tempfile.TemporaryDirectory() as folder:
            view.show(support.SAMPLE)
            with self.assertRaises(ondrel.Error) as raised:
                view.save(pathlib.Path(folder) / "x.pic", mime="image/x-none")
            self.assertIn("no encoder has the MIME type image/x-none", str(raised.exception))
            self.assertEqual(list(pathlib.Path(folder).iterdir()), [])


if __name__ == "__main__":
    unittest.main()
