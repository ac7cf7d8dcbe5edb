#include "errors.h"

#include <cerrno>
#include <exception>
#include <filesystem>

#include "host_setup.h"
#include "ondrel/platform/hresult_exception.h"

namespace py = pybind11;

namespace ondrel::python {

CoreError MethodError(std::string_view method, HRESULT result) {
  const cli::Failure failure = cli::MethodFailure(method, result, cli::TakeErrorDescription());
  return {failure.line, result, failure.coreText};
}

CoreError FailureError(const cli::Failure& failure) { return {failure.line, E_FAIL, failure.coreText}; }

namespace {

void Raise(const CoreError& error) {
  const py::object type = py::module_::import("ondrel").attr("Error");
  const py::object instance = type(error.what(), static_cast<unsigned long>(static_cast<ULONG>(error.hresult)),
                                   error.description);
  PyErr_SetObject(type.ptr(), instance.ptr());
}

}  // namespace

void RegisterErrorTranslator() {
  py::register_exception_translator([](std::exception_ptr thrown) {
    try {
      if (thrown) std::rethrow_exception(thrown);
    } catch (const CoreError& error) {
      Raise(error);
    } catch (const cli::Failure& failure) {
      Raise(FailureError(failure));
    } catch (const platform::HResultException& failure) {
      Raise(CoreError("a workstation object failed (" + cli::HResultText(failure.Result()) + ")", failure.Result(),
                      cli::TakeErrorDescription()));
    }
  });
}

void RequireExisting(const std::string& path) {
  std::error_code error;
  if (std::filesystem::exists(path, error)) return;
  const bool dotless = std::filesystem::path(path).string().find('.') == std::string::npos;
  if (dotless && std::filesystem::exists(path + ".dcm", error)) return;
  errno = ENOENT;
  PyErr_SetFromErrnoWithFilename(PyExc_FileNotFoundError, path.c_str());
  throw py::error_already_set();
}

std::string PathText(py::handle path) {
  const py::object text = py::module_::import("os").attr("fsdecode")(path);
  return text.cast<std::string>();
}

}  // namespace ondrel::python
