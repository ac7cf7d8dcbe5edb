// Failures of the core as Python sees them: ondrel.Error, with the HRESULT of the failure, the core's
// own text of it (the error information's description, or the engine's report) and a first line a
// person understands, as the command-line host words it.
#pragma once

#include <pybind11/pybind11.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "failure_text.h"
#include "ondrel/platform/wintypes.h"

namespace ondrel::python {

// A failure of the core, raised in Python as ondrel.Error(message, hresult, description). A standard
// exception too, so that a failure while the module starts becomes an ImportError with its message.
struct CoreError : std::runtime_error {
  CoreError(const std::string& message, HRESULT result, std::string coreText)
      : std::runtime_error(message), hresult(result), description(std::move(coreText)) {}

  HRESULT hresult;
  std::string description;
};

// A failed interface method: its error information taken from the thread (which the method left),
// worded as "METHOD failed (0xHRESULT): MESSAGE".
CoreError MethodError(std::string_view method, HRESULT result);
// A failure the host's helpers report (a file the engine can't read, a picture that can't be written):
// E_FAIL, with the failure's line and core text.
CoreError FailureError(const cli::Failure& failure);

// Turns CoreError and cli::Failure thrown through pybind11 into ondrel.Error, found in the package
// `ondrel`, which defines it.
void RegisterErrorTranslator();

// Raises FileNotFoundError for `path` unless a file or folder stands there, or, as the engine opens a
// name without a dot, at `path` + ".dcm": a name that does not exist is the caller's mistake, told
// before the core is asked.
void RequireExisting(const std::string& path);

// The text of a path argument (str, bytes or os.PathLike). Throws TypeError for anything else.
std::string PathText(pybind11::handle path);

}  // namespace ondrel::python
