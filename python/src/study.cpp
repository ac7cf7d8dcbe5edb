#include "study.h"

#include <pybind11/stl.h>

#include <cctype>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "console_text.h"
#include "errors.h"
#include "host.h"
#include "host_setup.h"
#include "ondrel/study_builder.h"
#include "pixel_warnings.h"

namespace py = pybind11;

namespace ondrel::python {
namespace {

// "SopInstanceUid" as "sop_instance_uid".
std::string SnakeCase(std::string_view name) {
  std::string snake;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const auto c = static_cast<unsigned char>(name[i]);
    if (std::isupper(c) && i > 0 && !std::isupper(static_cast<unsigned char>(name[i - 1]))) snake += '_';
    snake += static_cast<char>(std::tolower(c));
  }
  return snake;
}

// A property's value after its getter: the value when it is set, None while it is not available.
template <class Value>
py::object Answer(HRESULT got, std::string_view name, Value&& value) {
  if (got == S_FALSE) return py::none();
  if (FAILED(got)) throw MethodError("Get" + std::string(name), got);
  return py::cast(std::forward<Value>(value));
}

// Without the blanks and NULs that pad a DICOM text: they are no part of the value.
template <class I>
py::object ReadText(I& object, HRESULT (I::*get)(BSTR*), std::string_view name) {
  platform::BStr value;
  const HRESULT got = (object.*get)(value.Out());
  std::u16string text = value.ToString();
  while (!text.empty() && (text.back() == u' ' || text.back() == u'\0')) text.pop_back();
  return Answer(got, name, cli::ToConsole(text));
}

template <class I, class T>
py::object ReadNumber(I& object, HRESULT (I::*get)(T*), std::string_view name) {
  T value{};
  const HRESULT got = (object.*get)(&value);
  return Answer(got, name, value);
}

// A slope reads 1.0 while not available: stored values as they are.
template <class I>
py::object ReadSlope(I& object, HRESULT (I::*get)(double*), std::string_view name) {
  double value = 1.0;
  const HRESULT got = (object.*get)(&value);
  if (FAILED(got)) throw MethodError("Get" + std::string(name), got);
  return py::float_(value);
}

template <class I>
py::object ReadBool(I& object, HRESULT (I::*get)(VARIANT_BOOL*), std::string_view name) {
  VARIANT_BOOL value = VARIANT_FALSE;
  const HRESULT got = (object.*get)(&value);
  return Answer(got, name, value != VARIANT_FALSE);
}

// An automation date, days since 1899-12-30, as a datetime.datetime.
template <class I>
py::object ReadDate(I& object, HRESULT (I::*get)(DATE*), std::string_view name) {
  DATE value = 0.0;
  const HRESULT got = (object.*get)(&value);
  if (got == S_FALSE) return py::none();
  if (FAILED(got)) throw MethodError("Get" + std::string(name), got);
  const py::module_ datetime = py::module_::import("datetime");
  return datetime.attr("datetime")(1899, 12, 30) + datetime.attr("timedelta")(py::arg("days") = value);
}

template <class I>
py::object ReadPair(I& object, HRESULT (I::*get)(double*, double*), std::string_view name) {
  double first = 0.0;
  double second = 0.0;
  const HRESULT got = (object.*get)(&first, &second);
  return Answer(got, name, std::make_pair(first, second));
}

// The reader of each kind of property.
#define ONDREL_PYTHON_READER_TEXT ReadText
#define ONDREL_PYTHON_READER_USHORT ReadNumber
#define ONDREL_PYTHON_READER_SHORT ReadNumber
#define ONDREL_PYTHON_READER_LONG ReadNumber
#define ONDREL_PYTHON_READER_DOUBLE ReadNumber
#define ONDREL_PYTHON_READER_SLOPE ReadSlope
#define ONDREL_PYTHON_READER_BOOL ReadBool
#define ONDREL_PYTHON_READER_DATE ReadDate
#define ONDREL_PYTHON_READER_PAIR ReadPair

// The property `Name` of kind `Kind` of the wrapper's object (of type Interface), read-only.
#define ONDREL_PYTHON_PROPERTY(Kind, Name)                                                  \
  type.def_property_readonly(SnakeCase(#Name).c_str(), [](const Wrapper& wrapper) {         \
    return ONDREL_PYTHON_READER_##Kind(*wrapper.object.Get(), &Interface::Get##Name, #Name); \
  });

template <class Wrapper>
py::class_<Wrapper> DefineObject(py::module_& module, const char* name, const char* doc) {
  py::class_<Wrapper> type(module, name, doc);
  type.def("__eq__", [](const Wrapper& a, const Wrapper& b) { return a.object.Get() == b.object.Get(); });
  type.def("__hash__", [](const Wrapper& a) { return std::hash<const void*>()(a.object.Get()); });
  return type;
}

template <class T, class Wrapper>
std::vector<Wrapper> Wrapped(const std::vector<platform::ComPtr<T>>& objects) {
  std::vector<Wrapper> wrapped;
  for (const auto& object : objects) wrapped.push_back(Wrapper{object});
  return wrapped;
}

// The objects a getter of a list hands out (a patient's studies, a study's series).
template <class Child, class I>
std::vector<platform::ComPtr<Child>> ChildrenOf(I& object, HRESULT (I::*get)(SAFEARRAY**), std::string_view name) {
  SAFEARRAY* array = nullptr;
  if (const HRESULT got = (object.*get)(&array); FAILED(got)) throw MethodError(name, got);
  return cli::ObjectsOf<Child>(array);
}

// The same, wrapped.
template <class Wrapper, class I>
std::vector<Wrapper> Children(I& object, HRESULT (I::*get)(SAFEARRAY**), std::string_view name) {
  using Child = std::remove_reference_t<decltype(*Wrapper{}.object.Get())>;
  return Wrapped<Child, Wrapper>(ChildrenOf<Child>(object, get, name));
}

// The object a getter of a link hands out (an image's series, a series' study), or None.
template <class Wrapper, class I, class T>
py::object Link(I& object, HRESULT (I::*get)(T**)) {
  platform::ComPtr<T> linked;
  if (FAILED((object.*get)(linked.GetAddressOf())) || !linked) return py::none();
  return py::cast(Wrapper{linked});
}

// The files the image records of a DICOMDIR's medium name, record after record.
std::vector<std::string> MediaFiles(const StudyGraph& graph) {
  std::vector<std::string> files;
  for (const auto& patient : graph.mediaPatients)
    for (const auto& study : ChildrenOf<IDicomDirStudy>(*patient.Get(), &IDicomDirPatient::GetPatientStudies,
                                                        "GetPatientStudies"))
      for (const auto& series : ChildrenOf<IDicomDirSeries>(*study.Get(), &IDicomDirStudy::GetStudySeries,
                                                            "GetStudySeries"))
        for (const auto& image : ChildrenOf<IDicomDirImage>(*series.Get(), &IDicomDirSeries::GetSeriesImages,
                                                            "GetSeriesImages")) {
          platform::BStr file;
          if (image->GetFileName(file.Out()) == S_OK) files.push_back(cli::ToConsole(file.ToString()));
        }
  return files;
}

// The studies of the graph, patient by patient; the files it skipped told as SkippedFileWarnings.
std::vector<StudyObject> StudiesOf(const StudyGraph& graph, const std::vector<std::string>& skippedLines) {
  const py::object warn = py::module_::import("warnings").attr("warn");
  const py::object skippedFile = py::module_::import("ondrel").attr("SkippedFileWarning");
  for (const std::string& line : skippedLines) warn(line, skippedFile, 3);
  std::vector<StudyObject> studies;
  for (const auto& patient : graph.patients)
    for (StudyObject& study : Children<StudyObject>(*patient.Get(), &IPatientInfoNW::GetPatientStudies,
                                                    "GetPatientStudies"))
      studies.push_back(std::move(study));
  return studies;
}

std::vector<StudyObject> OpenStudies(py::handle path) {
  const std::string folder = PathText(path);
  RequireExisting(folder);
  // Why a file was skipped is worded with the file at hand (it is opened again), so beside the core too.
  std::vector<std::string> skippedLines;
  const StudyGraph graph = InCore([&] {
    StudyGraph built = BuildStudies({folder});
    // A DICOMDIR: the workstation's objects of the files its records name, which a viewport shows.
    if (!built.mediaPatients.empty()) {
      StudyGraph files = BuildStudies(MediaFiles(built));
      files.skipped.insert(files.skipped.begin(), built.skipped.begin(), built.skipped.end());
      built = std::move(files);
    }
    for (const SkippedFile& skipped : built.skipped)
      skippedLines.push_back(cli::FileFailure(skipped.path, cli::NarrowToConsole(skipped.reason)).line);
    return built;
  });
  return StudiesOf(graph, skippedLines);
}

std::vector<StudyObject> OpenDatabase(py::object connection) {
  const std::string named = connection.is_none() ? std::string() : PathText(connection);
  const StudyGraph graph = InCore([&] {
    const std::string text = named.empty() ? cli::DatabaseConnection() : named;
    try {
      return OpenStoredStudies(text);
    } catch (const std::runtime_error& error) {
      throw cli::Failure{"cannot read the database " + text + ": " + error.what(), {}};
    }
  });
  return StudiesOf(graph, {});
}

}  // namespace

void DefineStudyObjects(py::module_& module) {
  {
    using Wrapper = PatientObject;
    using Interface = IPatientInfoNW;
    auto type = DefineObject<Wrapper>(module, "Patient", "A patient of the workstation, with its studies.");
    ONDREL_PATIENT_PROPERTIES(ONDREL_PYTHON_PROPERTY)
    type.def_property_readonly("studies", [](const Wrapper& patient) {
      return Children<StudyObject>(*patient.object.Get(), &Interface::GetPatientStudies, "GetPatientStudies");
    });
  }
  {
    using Wrapper = StudyObject;
    using Interface = IStudyInfoNW;
    auto type = DefineObject<Wrapper>(module, "Study", "A study of the workstation: its patient and its series.");
    ONDREL_STUDY_PROPERTIES(ONDREL_PYTHON_PROPERTY)
    type.def_property_readonly("patient", [](const Wrapper& study) {
      return Link<PatientObject>(*study.object.Get(), &IStudyInfoNW::GetPatient);
    });
    type.def_property_readonly("series", [](const Wrapper& study) {
      return Children<SeriesObject>(*study.object.Get(), &Interface::GetStudySeries, "GetStudySeries");
    });
    type.def_static("open", &OpenStudies, py::arg("path"),
                    "Study.open(path) -> list[Study]\n\n"
                    "Builds the workstation's objects for a DICOM file or every file under a folder, as a host\n"
                    "does before it shows them: an image per frame, filled from its file, images grouped into\n"
                    "series (ordered along the slice normal, else by instance number), series into studies,\n"
                    "studies into patients. Returns the studies, patient by patient, in the order first met.\n"
                    "`path` may be a DICOMDIR: the files its image records name are read. A file that gives no\n"
                    "image (not DICOM, no pixel data, a DICOMDIR met in a folder, unreadable) and a record\n"
                    "passed over are told in a SkippedFileWarning. Raises FileNotFoundError when nothing stands\n"
                    "at `path`.");
    type.def_static("open_database", &OpenDatabase, py::arg("connection") = py::none(),
                    "Study.open_database(connection=None) -> list[Study]\n\n"
                    "The studies the workstation's database holds (what `ondrel store` and the core's saves\n"
                    "recorded), as the same objects, each image with the file it was stored as. `connection`\n"
                    "names a SQLite file or a postgresql:// URI; None means the workstation's own\n"
                    "(DbConnectionString in ViewerUI.exe.config beside the package, or ONDREL_DB_CONNECTION).\n"
                    "Raises ondrel.Error when the database can't be read.");
  }
  {
    using Wrapper = SeriesObject;
    using Interface = ISeriesInfoNW;
    auto type = DefineObject<Wrapper>(module, "Series", "A series of the workstation, with its images in order.");
    ONDREL_SERIES_PROPERTIES(ONDREL_PYTHON_PROPERTY)
    type.def_property_readonly("study", [](const Wrapper& series) {
      return Link<StudyObject>(*series.object.Get(), &ISeriesInfoNW::GetStudy);
    });
    type.def_property_readonly("images", [](const Wrapper& series) {
      return Children<ImageObject>(*series.object.Get(), &Interface::GetSeriesImages, "GetSeriesImages");
    });
  }
  {
    using Wrapper = ImageObject;
    using Interface = IImageInfoNW;
    auto type = DefineObject<Wrapper>(module, "Image",
                                      "An image of the workstation (one frame of a file): what a viewport shows.");
    ONDREL_IMAGE_PROPERTIES(ONDREL_PYTHON_PROPERTY)
    type.def_property_readonly("series", [](const Wrapper& image) {
      return Link<SeriesObject>(*image.object.Get(), &IImageInfoNW::GetSeries);
    });
    type.def("__repr__", [](const Wrapper& image) {
      return "<ondrel.Image " + py::str(py::cast(image).attr("file_name")).cast<std::string>() + " frame " +
             py::str(py::cast(image).attr("frame_index")).cast<std::string>() + ">";
    });
  }
}

ImageObject ImageOfPath(const std::string& path, int frame) {
  if (frame < 0 || frame > 65535) throw py::value_error("frame must lie from 0 to 65535, not " + std::to_string(frame));
  RequireExisting(path);
  const auto index = static_cast<USHORT>(frame);
  const cli::FileImage built = InCore([&] { return cli::ImageOfFile(path, index); });
  if (!built.image) throw py::index_error(cli::NoSuchFrame(path, built, "frames are", index));
  return ImageObject{built.image};
}

void WarnAboutPixels(IImageInfoNW& image) {
  const std::vector<std::string> warnings = cli::PixelWarnings(image);
  if (warnings.empty()) return;
  platform::BStr file;
  image.GetFileName(file.Out());
  const py::object warn = py::module_::import("warnings").attr("warn");
  const py::object category = py::module_::import("ondrel").attr("PixelWarning");
  for (const std::string& warning : warnings) warn(cli::ToConsole(file.ToString()) + ": " + warning, category, 3);
}

}  // namespace ondrel::python
