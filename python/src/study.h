// The workstation's information objects in Python: ondrel.Patient, ondrel.Study, ondrel.Series and
// ondrel.Image, each holding the host's object the core reads (an image object is what a viewport
// shows), with the object's properties read-only under snake_case names (Image.sop_instance_uid,
// Series.modality, ...), None while not available, and the links between them.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"

namespace ondrel::python {

struct PatientObject {
  platform::ComPtr<IPatientInfoNW> object;
};
struct StudyObject {
  platform::ComPtr<IStudyInfoNW> object;
};
struct SeriesObject {
  platform::ComPtr<ISeriesInfoNW> object;
};
struct ImageObject {
  platform::ComPtr<IImageInfoNW> object;
};

// Defines the four classes in the module, with Study.open.
void DefineStudyObjects(pybind11::module_& module);

// The image object of frame `frame` of a DICOM file, built as Study.open builds its images. Raises
// FileNotFoundError for a path where nothing stands, IndexError for a frame the file does not have,
// and throws Failure for a file that gives no image.
ImageObject ImageOfPath(const std::string& path, int frame);

// Warns (ondrel.PixelWarning) of what the core shows of the image's pixels without decoding or
// understanding them (see cli::PixelWarnings), naming its file.
void WarnAboutPixels(IImageInfoNW& image);

}  // namespace ondrel::python
