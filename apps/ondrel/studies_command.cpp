#include "studies_command.h"

#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_table.h"
#include "console_text.h"
#include "failure_text.h"
#include "ondrel/platform/oleauto.h"
#include "host_setup.h"
#include "ondrel/study_builder.h"

namespace ondrel::cli {
namespace {

using platform::BStr;
using platform::ComPtr;

template <class Object>
std::vector<ComPtr<Object>> Children(SAFEARRAY* array) {
  const std::unique_ptr<SAFEARRAY, HRESULT (*)(SAFEARRAY*)> owner(array, &SafeArrayDestroy);
  std::vector<ComPtr<Object>> children;
  LONG upper = -1;
  SafeArrayGetUBound(array, 1, &upper);
  for (LONG i = 0; i <= upper; ++i) {
    ComPtr<IUnknown> element;
    ComPtr<Object> child;
    if (SUCCEEDED(SafeArrayGetElement(array, &i, element.GetAddressOf())) && SUCCEEDED(element.As(&child)))
      children.push_back(child);
  }
  return children;
}

// " NAME VALUE" for a text the object has, the value quoted when `quoted`.
template <class Object>
std::string Text(Object* object, HRESULT (Object::*getter)(BSTR*), const char* name, bool quoted = false) {
  BStr value;
  if ((object->*getter)(value.Out()) != S_OK) return {};
  // DICOM pads its texts with blanks: a listing shows the value without them.
  std::string text = ToConsole(value.ToString());
  while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.pop_back();
  if (quoted) return " " + std::string(name) + (name[0] ? " " : "") + "\"" + text + "\"";
  return text.empty() ? std::string() : " " + std::string(name) + (name[0] ? " " : "") + text;
}

template <class Object, class T>
std::string Number(Object* object, HRESULT (Object::*getter)(T*), const char* name) {
  T value{};
  if ((object->*getter)(&value) != S_OK) return {};
  return " " + std::string(name) + " " + std::to_string(value);
}

template <class Study>
std::string Date(Study* study) {
  DATE value = 0.0;
  SYSTEMTIME time{};
  if (study->GetStudyDateTime(&value) != S_OK || value == 0.0 || !VariantTimeToSystemTime(value, &time)) return {};
  char text[32];
  std::snprintf(text, sizeof text, " date %04d-%02d-%02d", time.wYear, time.wMonth, time.wDay);
  return text;
}

// The workstation's objects and the media's (a DICOMDIR's) are listed alike.
template <class Series, class Image>
void ListSeries(Series* series, bool images) {
  SAFEARRAY* array = nullptr;
  series->GetSeriesImages(&array);
  const std::vector<ComPtr<Image>> members = Children<Image>(array);
  std::cout << "      series" << Text(series, &Series::GetSeriesInstanceUid, "")
            << Number(series, &Series::GetSeriesNumber, "number") << Text(series, &Series::GetModality, "")
            << Text(series, &Series::GetSeriesDescription, "", true) << ": " << members.size()
            << (members.size() == 1 ? " image" : " images") << "\n";
  if (!images) return;
  for (const auto& image : members)
    std::cout << "        image" << Text(image.Get(), &Image::GetSopInstanceUid, "")
              << Number(image.Get(), &Image::GetInstanceNumber, "number") << Text(image.Get(), &Image::GetFileName, "")
              << "\n";
}

template <class Patient, class Study, class Series, class Image>
void ListPatients(const std::vector<ComPtr<Patient>>& patients, bool images) {
  for (const auto& patient : patients) {
    std::cout << "patient" << Text(patient.Get(), &Patient::GetPatientName, "", true)
              << Text(patient.Get(), &Patient::GetPatientId, "id") << Text(patient.Get(), &Patient::GetPatientSex, "sex")
              << "\n";
    SAFEARRAY* studies = nullptr;
    patient->GetPatientStudies(&studies);
    for (const auto& study : Children<Study>(studies)) {
      std::cout << "    study" << Text(study.Get(), &Study::GetStudyInstanceUid, "") << Date(study.Get())
                << Text(study.Get(), &Study::GetStudyDescription, "", true)
                << Text(study.Get(), &Study::GetAccessionNumber, "accession") << "\n";
      SAFEARRAY* series = nullptr;
      study->GetStudySeries(&series);
      for (const auto& member : Children<Series>(series)) ListSeries<Series, Image>(member.Get(), images);
    }
  }
}

void List(const StudyGraph& graph, bool images) {
  ListPatients<IPatientInfoNW, IStudyInfoNW, ISeriesInfoNW, IImageInfoNW>(graph.patients, images);
  ListPatients<IDicomDirPatient, IDicomDirStudy, IDicomDirSeries, IDicomDirImage>(graph.mediaPatients, images);
  for (const SkippedFile& skipped : graph.skipped)
    std::cout << "passed over " << skipped.path << ": " << NarrowToConsole(skipped.reason) << "\n";
}

}  // namespace

int RunStudies(std::span<const std::string_view> args) {
  bool database = false;
  bool images = false;
  std::vector<std::string> paths;
  for (const std::string_view arg : args) {
    if (arg == "--db")
      database = true;
    else if (arg == "--images")
      images = true;
    else if (arg.starts_with("-"))
      throw UsageError{"unknown option '" + std::string(arg) + "'"};
    else
      paths.emplace_back(arg);
  }
  if (database == !paths.empty()) throw UsageError{"studies takes PATHs or --db"};

  LoadDictionary();
  RegisterWorkstation();
  if (!database) {
    List(BuildStudies(paths), images);
    return kExitSuccess;
  }
  UseStorageSettings();
  const std::string connection = DatabaseConnection();
  try {
    List(OpenStoredStudies(connection), images);
  } catch (const std::runtime_error& error) {
    throw Failure{"cannot read the database " + connection + ": " + error.what(), {}};
  }
  return kExitSuccess;
}

}  // namespace ondrel::cli
