// ondrel.read: a DICOM file's data set as the engine reads it (ondrel.DataSet), its elements
// (ondrel.Element) found by tag or by keyword, with their values as Python values.
#pragma once

#include <pybind11/pybind11.h>

namespace ondrel::python {

// Defines ondrel.read, ondrel.DataSet and ondrel.Element in the module.
void DefineDataSets(pybind11::module_& module);

}  // namespace ondrel::python
