// Handing the information objects to the workstation's Store, which writes them to the database.
#include <cstdio>
#include <string>

#include "foundation/exceptions.h"
#include "foundation/settings_helper.h"
#include "foundation/text_utils.h"
#include "foundation/trace.h"
#include "ondrel/platform/bstr.h"
#include "ondrel/workstation_config.h"
#include "storage/dicom_to_sql.h"

using DicomEngine::DicomData;
using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

namespace {

// Traces the failure text, then the exception made of it, both at level 1, and throws it.
[[noreturn]] void ThrowTraced(const char* format, HRESULT hr, IUnknown* object, REFIID iid) {
  char text[256];
  std::snprintf(text, sizeof text, format, static_cast<unsigned>(hr));
  Trace::Instance().Write(std::string(text), 1);
  const SerializableException failure(text, object, iid);
  Trace::Instance().Write(failure, 1);
  throw failure;
}

}  // namespace

ComPtr<IStore> DicomToSQL::CreateStore() {
  ComPtr<IStore> store;
  HRESULT hr = CoCreateInstance(CLSID_Store, nullptr, CLSCTX_ALL, IID_IStore, reinterpret_cast<void**>(store.GetAddressOf()));
  if (FAILED(hr)) ThrowTraced("Failed to create the DataAccess Store object. HRESULT=%0X", hr, store.Get(), IID_IStore);
  Trace& trace = Trace::Instance();
  hr = store->InitializeTrace(BStr(trace.FileName()).Get(), 1, trace.Level());
  if (FAILED(hr))
    ThrowTraced("Failed to initialize the trace in the Store object. HRESULT=%0X", hr, store.Get(), IID_IStore);
  ComPtr<IGlobalConfiguration> configuration;
  hr = CoCreateInstance(CLSID_GlobalConfiguration, nullptr, CLSCTX_ALL, IID_IGlobalConfiguration,
                        reinterpret_cast<void**>(configuration.GetAddressOf()));
  if (FAILED(hr))
    ThrowTraced("Failed to create the GlobalConfiguration object. HRESULT=%0X", hr, configuration.Get(),
                IID_IGlobalConfiguration);
  const std::string connection = SettingsHelper::Instance().Get("DbConnectionString");
  trace.Write("DbConnectionString=" + connection, 3);
  CHECK_COM_CALL(configuration->SetConnectionString(BStr(ToWide(connection)).Get()), configuration.Get(),
                 IID_IGlobalConfiguration);
  return store;
}

void DicomToSQL::StoreFromDicomData(const DicomData& data, const std::string& root, std::string& path,
                                    bool isStoredFile) {
  // Made, and kept to the end, though StoreImage makes its own: a failure to make one stops here.
  const ComPtr<IStore> store = CreateStore();
  ComPtr<IPatientInfoNW> patient;
  ComPtr<IStudyInfoNW> study;
  ComPtr<ISeriesInfoNW> series;
  ComPtr<IImageInfoNW> image;
  FillPatient(data, patient.GetAddressOf());
  FillStudy(data, study.GetAddressOf());
  FillSeries(data, series.GetAddressOf());
  FillImage(data, image.GetAddressOf(), path, isStoredFile);
  StoreImage(patient.Get(), study.Get(), series.Get(), image.Get(), root, path, isStoredFile);
}

void DicomToSQL::StoreImage(IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series, IImageInfoNW* image,
                            const std::string& root, std::string& path, bool isStoredFile) {
  const ComPtr<IStore> store = CreateStore();
  // The BStr throws E_OUTOFMEMORY when it can't be had.
  const BStr rootText(ToWide(root));
  const HRESULT hr = store->StoreImage(patient, study, series, image, rootText.Get());
  if (FAILED(hr))
    ThrowTraced("Failed to store the image into the database. HRESULT=%0X", hr, store.Get(), IID_IStore);
  if (!isStoredFile) return;
  BStr fileName;
  CHECK_COM_CALL(image->GetFileName(fileName.Out()), image, IImageInfoNW::kIid);
  path = ToNarrow(fileName.View());
}
