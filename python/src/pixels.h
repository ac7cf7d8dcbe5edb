// ondrel.pixels: the decoded samples of a frame of a DICOM file as a numpy array, loaded by the core's
// image loader as a viewport's image would be.
#pragma once

#include <pybind11/pybind11.h>

namespace ondrel::python {

// Defines ondrel.pixels in the module.
void DefinePixels(pybind11::module_& module);

}  // namespace ondrel::python
