// The extension module ondrel._ondrel, which the package `ondrel` (ondrel/__init__.py) presents.
#include <pybind11/pybind11.h>

#include <string>

#include "arguments.h"
#include "data_set.h"
#include "errors.h"
#include "foundation/file_utils.h"
#include "console_text.h"
#include "host.h"
#include "pixels.h"
#include "study.h"
#include "viewport.h"

namespace py = pybind11;

namespace {

// An address inside this module, which names it to the platform.
void ThisModule() {}

}  // namespace

PYBIND11_MODULE(_ondrel, module) {
  using namespace ondrel::python;
  module.doc() = "The core of Ondrel, presented by the package ondrel.";
  RegisterErrorTranslator();
  const std::string folder = ondrel::cli::ToConsole(ModuleFolder(reinterpret_cast<HMODULE>(reinterpret_cast<void*>(&ThisModule))));
  StartHost(folder + "_ondrel");
  py::module_::import("atexit").attr("register")(py::cpp_function(&StopHost));

  DefineEnumerations(module);
  DefineDataSets(module);
  DefinePixels(module);
  DefineStudyObjects(module);
  DefineViewport(module);
}
