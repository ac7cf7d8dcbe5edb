// The interface's parameters in Python: each kind of parameter of the method table the script host
// calls (script_methods.h) taken from a Python value, and each kind of out-parameter given back as one.
//
// In: a window is a Viewport, an image an ondrel.Image, numbers are int (checked against the
// parameter's width) or float, text is str (or a path), a boolean is bool, a point an (x, y) pair, an
// enumeration one of the interface's enumerations (ondrel.ColorPaletteEnum, ...), its number or its
// enumerator's name. Out: bool, int, an enumeration member, ondrel.Series, the picture of a bitmap as
// a numpy array, bytes, str.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <string_view>

#include "script_methods.h"

namespace ondrel::python {

// Makes the interface's enumerations, as enum.IntEnum classes of the module under their own names
// (ColorPaletteEnum, ImageRotationFlipEnum, MeasurementsEnum, ReferenceLinesEnum,
// SynchronizeSeriesEnum, MprOperationsEnum, MipOperationsEnum).
void DefineEnumerations(pybind11::module_& module);

// The enumeration class of an enumeration kind, in or out.
pybind11::object EnumerationType(cli::Kind kind);

// Fills `value` from `argument`, the parameter `position` (from 1) of `method`. Throws TypeError for a
// value of the wrong type and ValueError for one outside the parameter's range or enumerators, naming
// the method and the parameter.
void ArgumentOf(cli::Kind kind, pybind11::handle argument, cli::Value& value, std::string_view method,
                std::size_t position);

// The Python value of an out-parameter after a successful call; takes what the call handed over (a
// series, a byte array, a text), so call it once per out-parameter.
pybind11::object ResultOf(cli::Kind kind, cli::Value& value);

// What the kind is in Python, for the signatures in docstrings: "int", "Viewport", "ColorPaletteEnum".
std::string PythonTypeName(cli::Kind kind);

}  // namespace ondrel::python
