// The eight information classes and their registration.
#include <array>
#include <charconv>
#include <map>
#include <string>

#include "ondrel/store.h"
#include "ondrel/workstation.h"
#include "ondrel/workstation_config.h"
#include "workstation/configuration_objects.h"
#include "workstation/graph.h"
#include "workstation/store_object.h"

namespace ondrel::workstation {
namespace {

// Reads up to `count` numbers separated by backslashes, each possibly padded with spaces, as a DICOM
// decimal string holds them. True when `count` numbers were read.
bool ParseNumbers(const TextProperty& text, double* values, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) values[i] = 0.0;
  if (!text) return false;
  std::string narrow;
  for (const char16_t c : *text) narrow += c < 0x80 ? static_cast<char>(c) : '?';
  std::size_t start = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (start > narrow.size()) return false;
    const std::size_t end = std::min(narrow.find('\\', start), narrow.size());
    std::size_t first = narrow.find_first_not_of(' ', start);
    if (first == std::string::npos || first > end) return false;
    if (narrow[first] == '+') ++first;
    std::size_t last = end;
    while (last > first && narrow[last - 1] == ' ') --last;
    double value = 0.0;
    const auto [stop, error] = std::from_chars(narrow.data() + first, narrow.data() + last, value);
    if (error != std::errc() || stop != narrow.data() + last) return false;
    values[i] = value;
    start = end + 1;
  }
  return true;
}

class ImageInfo;
class SeriesInfo;
class StudyInfo;

class PatientInfo final : public GraphObject<IPatientInfoNW> {
 public:
  ONDREL_PATIENT_PROPERTIES(ONDREL_IMPLEMENT_PROPERTY)
  HRESULT AddStudyToPatient(IStudyInfoNW* study) override;
  HRESULT GetPatientStudies(SAFEARRAY** studies) override { return ChildVector(studies); }
};

class StudyInfo final : public GraphObject<IStudyInfoNW> {
 public:
  ONDREL_STUDY_PROPERTIES(ONDREL_IMPLEMENT_PROPERTY)
  HRESULT GetPatient(IPatientInfoNW** patient) override { return GetParentAs<PatientInfo>(patient); }
  HRESULT AddSeriesToStudy(ISeriesInfoNW* series) override;
  HRESULT GetStudySeries(SAFEARRAY** series) override { return ChildVector(series); }
};

class SeriesInfo final : public GraphObject<ISeriesInfoNW> {
 public:
  ONDREL_SERIES_PROPERTIES(ONDREL_IMPLEMENT_PROPERTY)
  HRESULT GetStudy(IStudyInfoNW** study) override { return GetParentAs<StudyInfo>(study); }
  HRESULT AddImageToSeries(IImageInfoNW* image) override;
  HRESULT GetSeriesImages(SAFEARRAY** images) override { return ChildVector(images); }
  HRESULT SetSeriesPixelSpacing(double horizontal, double vertical) override;
  HRESULT SetMprSource(ISeriesInfoNW* source) override { return SetSource(source, mprSource_); }
  HRESULT GetMprSource(ISeriesInfoNW** source) override { return GetSource(mprSource_, source); }
  HRESULT SetMipSource(ISeriesInfoNW* source) override { return SetSource(source, mipSource_); }
  HRESULT GetMipSource(ISeriesInfoNW** source) override { return GetSource(mipSource_, source); }

 private:
  HRESULT SetSource(ISeriesInfoNW* source, SeriesInfo*& slot);
  static HRESULT GetSource(SeriesInfo* slot, ISeriesInfoNW** source);

  // Members of this series' family once set (the series joined their study), so plain pointers.
  SeriesInfo* mprSource_ = nullptr;
  SeriesInfo* mipSource_ = nullptr;
};

// What the workstation's image object and the media's have in common.
template <class Interface>
class ImageBase : public GraphObject<Interface> {
 public:
  ONDREL_IMAGE_PROPERTIES(ONDREL_IMPLEMENT_PROPERTY)
  HRESULT GetTaggedState(LONG window, LONG* state) override {
    if (state == nullptr) return E_POINTER;
    const auto found = tagged_.find(window);
    *state = found != tagged_.end() ? found->second : 0;
    return S_OK;
  }
  HRESULT SetTaggedState(LONG window, LONG state) override {
    tagged_[window] = state;
    return S_OK;
  }

 private:
  std::map<LONG, LONG> tagged_;
};

class ImageInfo final : public ImageBase<IImageInfoNW> {
 public:
  HRESULT GetSeries(ISeriesInfoNW** series) override { return GetParentAs<SeriesInfo>(series); }
  HRESULT GetImagePositionValues(double* x, double* y, double* z) override {
    if (x == nullptr || y == nullptr || z == nullptr) return E_POINTER;
    std::array<double, 3> values{};
    const bool read = ParseNumbers(ImagePosition_, values.data(), values.size());
    *x = values[0];
    *y = values[1];
    *z = values[2];
    return read ? S_OK : kPropertyNotAvailable;
  }
  HRESULT GetImageOrientationValues(double* values6) override {
    if (values6 == nullptr) return E_POINTER;
    return ParseNumbers(ImageOrientation_, values6, 6) ? S_OK : kPropertyNotAvailable;
  }
};

HRESULT PatientInfo::AddStudyToPatient(IStudyInfoNW* study) { return AdoptChild<StudyInfo>(study); }
HRESULT StudyInfo::AddSeriesToStudy(ISeriesInfoNW* series) { return AdoptChild<SeriesInfo>(series); }
HRESULT SeriesInfo::AddImageToSeries(IImageInfoNW* image) { return AdoptChild<ImageInfo>(image); }

HRESULT SeriesInfo::SetSource(ISeriesInfoNW* source, SeriesInfo*& slot) {
  if (source == nullptr) return E_POINTER;
  auto* impl = dynamic_cast<SeriesInfo*>(source);
  auto* study = impl != nullptr ? dynamic_cast<StudyInfo*>(impl->Parent()) : nullptr;
  // A source in another study than this series' own would leave the pointer to another family.
  if (study == nullptr || (Parent() != nullptr && Parent() != study)) return E_INVALIDARG;
  if (Parent() == nullptr) {
    const HRESULT hr = study->AddSeriesToStudy(this);
    if (FAILED(hr)) return hr;
  }
  slot = impl;
  return S_OK;
}

HRESULT SeriesInfo::GetSource(SeriesInfo* slot, ISeriesInfoNW** source) {
  if (source == nullptr) return E_POINTER;
  *source = slot;
  if (slot == nullptr) return OLE_E_BLANK;
  slot->AddRef();
  return S_OK;
}

HRESULT SeriesInfo::SetSeriesPixelSpacing(double horizontal, double vertical) {
  for (GraphNode* child : Children()) static_cast<ImageInfo*>(child)->SetPixelSpacing(horizontal, vertical);
  return S_OK;
}

class DicomDirImage;
class DicomDirSeries;
class DicomDirStudy;

class DicomDirPatient final : public GraphObject<IDicomDirPatient> {
 public:
  ONDREL_PATIENT_PROPERTIES(ONDREL_IMPLEMENT_PROPERTY)
  HRESULT AddStudyToPatient(IDicomDirStudy* study) override;
  HRESULT GetPatientStudies(SAFEARRAY** studies) override { return ChildVector(studies); }
};

class DicomDirStudy final : public GraphObject<IDicomDirStudy> {
 public:
  ONDREL_DICOMDIR_STUDY_PROPERTIES(ONDREL_IMPLEMENT_PROPERTY)
  HRESULT GetPatient(IDicomDirPatient** patient) override { return GetParentAs<DicomDirPatient>(patient); }
  HRESULT AddSeriesToStudy(IDicomDirSeries* series) override;
  HRESULT GetStudySeries(SAFEARRAY** series) override { return ChildVector(series); }
};

class DicomDirSeries final : public GraphObject<IDicomDirSeries> {
 public:
  ONDREL_DICOMDIR_SERIES_PROPERTIES(ONDREL_IMPLEMENT_PROPERTY)
  HRESULT GetStudy(IDicomDirStudy** study) override { return GetParentAs<DicomDirStudy>(study); }
  HRESULT AddImageToSeries(IDicomDirImage* image) override;
  HRESULT GetSeriesImages(SAFEARRAY** images) override { return ChildVector(images); }
};

class DicomDirImage final : public ImageBase<IDicomDirImage> {
 public:
  HRESULT GetSeries(IDicomDirSeries** series) override { return GetParentAs<DicomDirSeries>(series); }
};

HRESULT DicomDirPatient::AddStudyToPatient(IDicomDirStudy* study) { return AdoptChild<DicomDirStudy>(study); }
HRESULT DicomDirStudy::AddSeriesToStudy(IDicomDirSeries* series) { return AdoptChild<DicomDirSeries>(series); }
HRESULT DicomDirSeries::AddImageToSeries(IDicomDirImage* image) { return AdoptChild<DicomDirImage>(image); }

struct ClassEntry {
  const CLSID* clsid;
  const char16_t* progId;
  HRESULT (*registerClass)(REFCLSID, LPCOLESTR);
};

const std::array<ClassEntry, 11> kClasses = {{
    {&CLSID_PatientInfoNW, u"Ondrel.PatientInfoNW", &platform::RegisterComClass<PatientInfo>},
    {&CLSID_StudyInfoNW, u"Ondrel.StudyInfoNW", &platform::RegisterComClass<StudyInfo>},
    {&CLSID_SeriesInfoNW, u"Ondrel.SeriesInfoNW", &platform::RegisterComClass<SeriesInfo>},
    {&CLSID_ImageInfoNW, u"Ondrel.ImageInfoNW", &platform::RegisterComClass<ImageInfo>},
    {&CLSID_DicomDirPatient, u"Ondrel.DicomDirPatient", &platform::RegisterComClass<DicomDirPatient>},
    {&CLSID_DicomDirStudy, u"Ondrel.DicomDirStudy", &platform::RegisterComClass<DicomDirStudy>},
    {&CLSID_DicomDirSeries, u"Ondrel.DicomDirSeries", &platform::RegisterComClass<DicomDirSeries>},
    {&CLSID_DicomDirImage, u"Ondrel.DicomDirImage", &platform::RegisterComClass<DicomDirImage>},
    {&CLSID_UserPreferences, u"Ondrel.UserPreferences", &RegisterUserPreferencesClass},
    {&CLSID_GlobalConfiguration, u"Ondrel.GlobalConfiguration", &RegisterGlobalConfigurationClass},
    {&CLSID_Store, u"Ondrel.Store", &RegisterStoreClass},
}};

}  // namespace
}  // namespace ondrel::workstation

HRESULT RegisterWorkstationClasses() {
  for (const auto& entry : ondrel::workstation::kClasses) {
    const HRESULT hr = entry.registerClass(*entry.clsid, entry.progId);
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

HRESULT UnregisterWorkstationClasses() {
  HRESULT first = S_OK;
  for (const auto& entry : ondrel::workstation::kClasses) {
    const HRESULT hr = RemoveClassFromTable(*entry.clsid);
    if (FAILED(hr) && SUCCEEDED(first)) first = hr;
  }
  return first;
}
