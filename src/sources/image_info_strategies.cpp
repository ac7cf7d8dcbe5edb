#include "sources/image_info_strategies.h"

#include <cstdio>

#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "storage/dicom_to_sql.h"
#include "storage/disk_storage.h"

using ondrel::platform::BStr;

namespace sources_detail {
namespace {

template <class Object, class T>
T Read(Object* object, HRESULT (Object::*getter)(T*), int line) {
  T value{};
  const HRESULT hr = (object->*getter)(&value);
  if (FAILED(hr)) ThrowComFailure(hr, object, IidOf<Object>(), __FILE__, line);
  return value;
}

template <class Object>
BStr ReadText(Object* object, HRESULT (Object::*getter)(BSTR*), int line) {
  BStr value;
  const HRESULT hr = (object->*getter)(value.Out());
  if (FAILED(hr)) ThrowComFailure(hr, object, IidOf<Object>(), __FILE__, line);
  return value;
}

template <class Object, class... Args>
void Write(Object* object, HRESULT (Object::*setter)(Args...), int line, Args... values) {
  const HRESULT hr = (object->*setter)(values...);
  if (FAILED(hr)) ThrowComFailure(hr, object, IidOf<Object>(), __FILE__, line);
}

}  // namespace

// The six direction cosines into the six outs of an orientation.
template <class Number>
void SpreadOrientation(const Number* values, double* rowX, double* rowY, double* rowZ, double* columnX,
                       double* columnY, double* columnZ) {
  *rowX = values[0];
  *rowY = values[1];
  *rowZ = values[2];
  *columnX = values[3];
  *columnY = values[4];
  *columnZ = values[5];
}

namespace {

// Walks one step up; a missing parent is a failure like any other.
template <class Child, class Parent>
ondrel::platform::ComPtr<Parent> Up(Child* child, HRESULT (Child::*getter)(Parent**), int line) {
  ondrel::platform::ComPtr<Parent> parent;
  const HRESULT hr = (child->*getter)(parent.GetAddressOf());
  if (FAILED(hr)) ThrowComFailure(hr, child, IidOf<Child>(), __FILE__, line);
  return parent;
}

}  // namespace

#define READ(object, Name) Read((object).Get(), &std::remove_reference_t<decltype(*(object).Get())>::Get##Name, __LINE__)
#define READ_TEXT(object, Name) \
  ReadText((object).Get(), &std::remove_reference_t<decltype(*(object).Get())>::Get##Name, __LINE__)
#define WRITE(object, Name, ...) \
  Write((object).Get(), &std::remove_reference_t<decltype(*(object).Get())>::Set##Name, __LINE__, __VA_ARGS__)

template <class Image, class Series, class Study, class Patient>
StrategyBase<Image, Series, Study, Patient>::StrategyBase(Image* image) : image_(image) {
  if (image == nullptr) ThrowComFailure(E_POINTER, nullptr, IidOf<Image>(), __FILE__, __LINE__);
  series_ = Up(image_.Get(), &Image::GetSeries, __LINE__);
  study_ = Up(series_.Get(), &Series::GetStudy, __LINE__);
  patient_ = Up(study_.Get(), &Study::GetPatient, __LINE__);
}

#define STRATEGY(Result) \
  template <class Image, class Series, class Study, class Patient> \
  Result StrategyBase<Image, Series, Study, Patient>

STRATEGY(BStr)::GetSopInstanceUid() { return READ_TEXT(image_, SopInstanceUid); }
STRATEGY(BStr)::GetSopClassUid() { return READ_TEXT(image_, SopClassUid); }
STRATEGY(BStr)::GetFileName() { return READ_TEXT(image_, FileName); }
STRATEGY(VARIANT_BOOL)::GetNeedsDicomData() { return READ(image_, NeedsDicomData); }
STRATEGY(LONG)::GetTaggedState(LONG window) {
  LONG state = 0;
  const HRESULT hr = image_->GetTaggedState(window, &state);
  if (FAILED(hr)) ThrowComFailure(hr, image_.Get(), IidOf<Image>(), __FILE__, __LINE__);
  return state;
}
STRATEGY(BStr)::GetTransferSyntaxUid() { return READ_TEXT(image_, TransferSyntaxUid); }
STRATEGY(BStr)::GetImageType() { return READ_TEXT(image_, ImageType); }
STRATEGY(USHORT)::GetBitsStored() { return READ(image_, BitsStored); }
STRATEGY(USHORT)::GetFrameIndex() { return READ(image_, FrameIndex); }
STRATEGY(USHORT)::GetRows() { return READ(image_, Rows); }
STRATEGY(USHORT)::GetColumns() { return READ(image_, Columns); }
STRATEGY(USHORT)::GetBitsAllocated() { return READ(image_, BitsAllocated); }
STRATEGY(USHORT)::GetSamplesPerPixel() { return READ(image_, SamplesPerPixel); }
STRATEGY(USHORT)::GetHighBit() { return READ(image_, HighBit); }
STRATEGY(USHORT)::GetShutterPresentationValue() { return READ(image_, ShutterPresentationValue); }
STRATEGY(BStr)::GetShutterShape() { return READ_TEXT(image_, ShutterShape); }
STRATEGY(void)::GetShutterCircularCenter(SHORT* x, SHORT* y) {
  double column = 0.0;
  double row = 0.0;
  const HRESULT hr = image_->GetShutterCircularCenter(&column, &row);
  if (FAILED(hr)) ThrowComFailure(hr, image_.Get(), IidOf<Image>(), __FILE__, __LINE__);
  *x = static_cast<SHORT>(column);
  *y = static_cast<SHORT>(row);
}
STRATEGY(USHORT)::GetShutterRadius() { return READ(image_, ShutterRadius); }
STRATEGY(USHORT)::GetShutterLeftEdge() { return READ(image_, ShutterLeftEdge); }
STRATEGY(USHORT)::GetShutterRightEdge() { return READ(image_, ShutterRightEdge); }
STRATEGY(USHORT)::GetShutterUpperEdge() { return READ(image_, ShutterUpperEdge); }
STRATEGY(USHORT)::GetShutterLowerEdge() { return READ(image_, ShutterLowerEdge); }
STRATEGY(BStr)::GetShutterVertices() { return READ_TEXT(image_, ShutterVertices); }
STRATEGY(USHORT)::GetPlanarConfiguration() { return READ(image_, PlanarConfiguration); }
STRATEGY(double)::GetRescaleSlope() { return READ(image_, RescaleSlope); }
STRATEGY(double)::GetRescaleIntercept() { return READ(image_, RescaleIntercept); }
STRATEGY(USHORT)::GetPixelRepresentation() { return READ(image_, PixelRepresentation); }
STRATEGY(LONG)::GetWindowCenter() { return READ(image_, WindowCenter); }
STRATEGY(LONG)::GetWindowWidth() { return READ(image_, WindowWidth); }
STRATEGY(BStr)::GetPhotometricInterpretation() { return READ_TEXT(image_, PhotometricInterpretation); }
STRATEGY(BStr)::GetManufacturer() { return READ_TEXT(image_, Manufacturer); }
STRATEGY(DATE)::GetAcquisitionDateTime() { return READ(image_, AcquisitionDateTime); }
STRATEGY(LONG)::GetInstanceNumber() { return READ(image_, InstanceNumber); }
// Only S_OK counts: a spacing that is not available is no spacing, not a spacing of 0.
STRATEGY(bool)::GetPixelSpacing(double* x, double* y) { return image_->GetPixelSpacing(x, y) == S_OK; }
STRATEGY(double)::GetSliceLocation() { return READ(image_, SliceLocation); }
STRATEGY(double)::GetSpacingBetweenSlices() { return READ(image_, SpacingBetweenSlices); }
STRATEGY(BStr)::GetContrastBolusAgent() { return READ_TEXT(image_, ContrastBolusAgent); }
STRATEGY(BStr)::GetSeriesInstanceUid() { return READ_TEXT(series_, SeriesInstanceUid); }
STRATEGY(BStr)::GetModality() { return READ_TEXT(series_, Modality); }
STRATEGY(BStr)::GetSeriesDescription() { return READ_TEXT(series_, SeriesDescription); }
STRATEGY(DATE)::GetSeriesDateTime() { return READ(series_, SeriesDateTime); }
STRATEGY(BStr)::GetStudyDescription() { return READ_TEXT(study_, StudyDescription); }
STRATEGY(BStr)::GetInstitutionName() { return READ_TEXT(study_, InstitutionName); }
STRATEGY(DATE)::GetStudyDateTime() { return READ(study_, StudyDateTime); }
STRATEGY(BStr)::GetPatientName() { return READ_TEXT(patient_, PatientName); }
STRATEGY(BStr)::GetPatientSex() { return READ_TEXT(patient_, PatientSex); }
STRATEGY(void)::SetPixelSpacing(double x, double y) { WRITE(image_, PixelSpacing, x, y); }
STRATEGY(void)::SetRows(USHORT value) { WRITE(image_, Rows, value); }
STRATEGY(void)::SetColumns(USHORT value) { WRITE(image_, Columns, value); }
STRATEGY(void)::SetBitsStored(USHORT value) { WRITE(image_, BitsStored, value); }
STRATEGY(void)::SetBitsAllocated(USHORT value) { WRITE(image_, BitsAllocated, value); }
STRATEGY(void)::SetHighBit(USHORT value) { WRITE(image_, HighBit, value); }
STRATEGY(void)::SetPixelRepresentation(USHORT value) { WRITE(image_, PixelRepresentation, value); }
STRATEGY(void)::SetPhotometricInterpretation(const std::u16string& value) {
  const BStr text(value);
  WRITE(image_, PhotometricInterpretation, text.Get());
}
STRATEGY(void)::SetSamplesPerPixel(USHORT value) { WRITE(image_, SamplesPerPixel, value); }
STRATEGY(void)::SetPlanarConfiguration(USHORT value) { WRITE(image_, PlanarConfiguration, value); }

template class StrategyBase<IImageInfoNW, ISeriesInfoNW, IStudyInfoNW, IPatientInfoNW>;
template class StrategyBase<IDicomDirImage, IDicomDirSeries, IDicomDirStudy, IDicomDirPatient>;

}  // namespace sources_detail

using sources_detail::Read;
using sources_detail::ReadText;
using sources_detail::Write;

VARIANT_BOOL ImageInfoWStationStrategy::GetIsStoredFile() { return READ(image_, IsStoredFile); }
LONG ImageInfoWStationStrategy::GetMprType() { return READ(series_, MprType); }
LONG ImageInfoWStationStrategy::GetMipType() { return READ(series_, MipType); }
LONG ImageInfoWStationStrategy::GetVolumeType() { return READ(series_, VolumeType); }

bool ImageInfoWStationStrategy::GetImagePosition(double* x, double* y, double* z) {
  return image_->GetImagePositionValues(x, y, z) == S_OK;
}

bool ImageInfoWStationStrategy::GetImageOrientation(double* rowX, double* rowY, double* rowZ, double* columnX,
                                                    double* columnY, double* columnZ) {
  double values[6] = {};
  const bool read = image_->GetImageOrientationValues(values) == S_OK;
  sources_detail::SpreadOrientation(values, rowX, rowY, rowZ, columnX, columnY, columnZ);
  return read;
}

BStr ImageInfoWStationStrategy::GetFrameOfReferenceUid() { return READ_TEXT(series_, FrameOfReferenceUid); }

void ImageInfoWStationStrategy::SetSeriesPixelSpacing(double x, double y) {
  const HRESULT hr = series_->SetSeriesPixelSpacing(x, y);
  if (FAILED(hr)) ThrowComFailure(hr, series_.Get(), IidOf<ISeriesInfoNW>(), __FILE__, __LINE__);
}

void ImageInfoWStationStrategy::LoadFromDicomData(const DicomEngine::DicomData& data, const std::string& fileName) {
  IImageInfoNW* image = image_.Get();
  DicomToSQL::FillImage(data, &image, fileName, false);
  ISeriesInfoNW* series = series_.Get();
  DicomToSQL::FillSeries(data, &series);
  IStudyInfoNW* study = study_.Get();
  DicomToSQL::FillStudy(data, &study);
  IPatientInfoNW* patient = patient_.Get();
  DicomToSQL::FillPatient(data, &patient);
}

void ImageInfoWStationStrategy::FillDicomData(DicomEngine::DicomData& data) {
  DicomToSQL::FillDicomData(patient_.Get(), study_.Get(), series_.Get(), image_.Get(), data);
}

void ImageInfoWStationStrategy::StoreDicomData(DicomEngine::DicomData& data) {
  // The storage keeps the file: the Store then chooses where it goes.
  WRITE(image_, IsStoredFile, static_cast<VARIANT_BOOL>(VARIANT_TRUE));
  const DicomEngine::SyntaxRecord syntax{DicomEngine::kLittleEndian, DicomEngine::kImplicitVR};
  DiskStorage::StoreDicomData(patient_.Get(), study_.Get(), series_.Get(), image_.Get(), data, nullptr, nullptr, true,
                              syntax, DicomEngine::kImplicitVRLittleEndianUid);
}

std::vector<std::unique_ptr<ImageInfoStrategy>> ImageInfoWStationStrategy::GetSeriesImages() {
  SAFEARRAY* raw = nullptr;
  HRESULT hr = series_->GetSeriesImages(&raw);
  if (FAILED(hr)) ThrowComFailure(hr, series_.Get(), IidOf<ISeriesInfoNW>(), __FILE__, __LINE__);
  const std::unique_ptr<SAFEARRAY, HRESULT (*)(SAFEARRAY*)> images(raw, &SafeArrayDestroy);
  LONG lower = 0;
  LONG upper = -1;
  if (FAILED(hr = SafeArrayGetLBound(images.get(), 1, &lower)) || FAILED(hr = SafeArrayGetUBound(images.get(), 1, &upper)))
    ThrowComFailure(hr, nullptr, IID_IUnknown, __FILE__, __LINE__);
  std::vector<std::unique_ptr<ImageInfoStrategy>> result;
  for (LONG i = lower; i <= upper; ++i) {
    ondrel::platform::ComPtr<IUnknown> element;
    hr = SafeArrayGetElement(images.get(), &i, element.GetAddressOf());
    if (FAILED(hr)) ThrowComFailure(hr, nullptr, IID_IUnknown, __FILE__, __LINE__);
    ondrel::platform::ComPtr<IImageInfoNW> image;
    hr = element.As(&image);
    if (FAILED(hr)) ThrowComFailure(hr, element.Get(), IID_IUnknown, __FILE__, __LINE__);
    result.push_back(std::make_unique<ImageInfoWStationStrategy>(image.Get()));
  }
  return result;
}

namespace {

// The media's texts, read with "%f" as single-precision numbers.
bool ParseFloats(const BStr& text, const char* format, float* values, int count) {
  if (text.IsNull()) return false;
  const std::string narrow = ToNarrow(std::u16string(text.Get(), text.Length()));
  const int read = count == 3 ? std::sscanf(narrow.c_str(), format, &values[0], &values[1], &values[2])
                              : std::sscanf(narrow.c_str(), format, &values[0], &values[1], &values[2], &values[3],
                                            &values[4], &values[5]);
  return read == count;
}

}  // namespace

bool ImageInfoDicomDirStrategy::GetImagePosition(double* x, double* y, double* z) {
  const BStr text = READ_TEXT(image_, ImagePosition);
  float values[3] = {};
  const bool read = ParseFloats(text, "%f\\%f\\%f", values, 3);
  *x = values[0];
  *y = values[1];
  *z = values[2];
  return read;
}

bool ImageInfoDicomDirStrategy::GetImageOrientation(double* rowX, double* rowY, double* rowZ, double* columnX,
                                                    double* columnY, double* columnZ) {
  const BStr text = READ_TEXT(image_, ImageOrientation);
  float values[6] = {};
  const bool read = ParseFloats(text, "%f\\%f\\%f\\%f\\%f\\%f", values, 6);
  sources_detail::SpreadOrientation(values, rowX, rowY, rowZ, columnX, columnY, columnZ);
  return read;
}

BStr ImageInfoDicomDirStrategy::GetFrameOfReferenceUid() {
  THROW_MY_EXCEPTION("The Frame of Reference UID is not implemented in DICOM DIR.");
}

void ImageInfoDicomDirStrategy::SetSeriesPixelSpacing(double x, double y) { WRITE(series_, PixelSpacing, x, y); }

void ImageInfoDicomDirStrategy::SetColumns(USHORT value) { SetRows(value); }

void ImageInfoDicomDirStrategy::LoadFromDicomData(const DicomEngine::DicomData& data, const std::string& fileName) {
  IDicomDirImage* image = image_.Get();
  DicomDirToSQL::FillDirImage(data, &image, fileName, false);
  IDicomDirSeries* series = series_.Get();
  DicomDirToSQL::FillDirSeries(data, &series);
  IDicomDirStudy* study = study_.Get();
  DicomDirToSQL::FillDirStudy(data, &study);
  IDicomDirPatient* patient = patient_.Get();
  DicomDirToSQL::FillDirPatient(data, &patient);
}
