"""Ondrel, the image core of a medical image viewing workstation, from Python.

    import ondrel
    ds = ondrel.read("CT_small.dcm")                  # the data set: ds.PatientName, ds[0x00280010]
    ct = ondrel.pixels("CT_small.dcm")                # the decoded samples, a numpy array

    with ondrel.Viewport(512, 512) as view:           # an off-screen window and the core's component
        view.show("CT_small.dcm")
        view.window_level(400, 40)
        picture = view.picture()                     # what the window shows: 512 x 512 x 3 uint8

``Study.open(path)`` builds the workstation's patients, studies, series and images from files (a folder
or a DICOMDIR's records), ``Study.open_database()`` from the workstation's database, and a
viewport has every method of the component's interface under its own name (``view.PanImage(10, 0)``).
The core's files (its DICOM dictionary, settings, the user's preferences and texts) are read from
this package's folder, and its trace log, when started, goes into the folder ``Log`` there.
"""


class Error(Exception):
    """A failure of the core.

    ``str(error)`` says what failed in a sentence; ``hresult`` is the failure's code (0x80004005,
    E_FAIL, for most; 0x80004003, E_POINTER, for an argument the core refuses) and ``description`` the
    core's own text of it: the error information a failing method left (an ``<exception ...>`` text
    with source file and line), or the engine's report; empty when the core gave none.
    """

    def __init__(self, message, hresult, description):
        super().__init__(message)
        self.hresult = hresult
        self.description = description


class PixelWarning(UserWarning):
    """The core shows pixels it does not decode or understand (RLE, 1-bit samples, YBR_FULL_422...)."""


class SkippedFileWarning(UserWarning):
    """Study.open met a file that gives no image (not DICOM, no pixel data, a DICOMDIR met in a folder,
    unreadable), or a DICOMDIR record it passed over."""


from ._ondrel import (  # noqa: E402  (the classes above must exist when the module raises them)
    ColorPaletteEnum,
    DataSet,
    Element,
    Image,
    ImageRotationFlipEnum,
    MeasurementsEnum,
    MipOperationsEnum,
    MprOperationsEnum,
    Patient,
    ReferenceLinesEnum,
    Series,
    Study,
    SynchronizeSeriesEnum,
    Viewport,
    pixels,
    read,
)

__all__ = [
    "ColorPaletteEnum", "DataSet", "Element", "Error", "Image", "ImageRotationFlipEnum", "MeasurementsEnum",
    "MipOperationsEnum", "MprOperationsEnum", "Patient", "PixelWarning", "ReferenceLinesEnum", "Series",
    "SkippedFileWarning", "Study", "SynchronizeSeriesEnum", "Viewport", "pixels", "read",
]

# The classes are the package's, whichever module defines them.
for _name in __all__:
    if isinstance(globals()[_name], type):
        globals()[_name].__module__ = __name__
del _name
