// Filling the information objects from a data set, for the workstation's objects and the media's.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <type_traits>

#include "dicom/vr.h"
#include "foundation/date_utils.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/bstr.h"
#include "storage/dicom_to_sql.h"

using DicomEngine::DicomData;
using DicomEngine::VRContainer;

namespace {

using ondrel::platform::BStr;

constexpr std::size_t kCopyMessageSize = 128;

// The copy helpers: false when the tag is absent; a value of another class fails.
bool CopyString(const VRContainer& data, std::uint16_t group, std::uint16_t element, std::string& text) {
  const DicomEngine::VR* vr = data.Find(group, element);
  if (vr == nullptr) return false;
  const auto* value = dynamic_cast<const DicomEngine::VRString*>(vr);
  if (value == nullptr)
    THROW_MY_EXCEPTION_F(kCopyMessageSize,
                         "Failed to copy a STRING from VR because is not a string. Group=%u, Attribute=%u",
                         unsigned{group}, unsigned{element});
  text = value->Value();
  return true;
}

bool CopyUnsignedShort(const VRContainer& data, std::uint16_t group, std::uint16_t element, USHORT& number) {
  number = 0xFFFF;
  const DicomEngine::VR* vr = data.Find(group, element);
  if (vr == nullptr) return false;
  const auto* value = dynamic_cast<const DicomEngine::UnsignedShortVR*>(vr);
  if (value == nullptr)
    THROW_MY_EXCEPTION_F(
        kCopyMessageSize,
        "Failed to copy an Unsigned Short from VR because is not an unsigned short. Group=%u, Attribute=%u",
        unsigned{group}, unsigned{element});
  // An element with no value reads as 0, as an empty text reads as no number.
  number = value->Values().empty() ? 0 : value->Values().front();
  return true;
}

bool CopySignedInt(const VRContainer& data, std::uint16_t group, std::uint16_t element, LONG& number) {
  number = static_cast<LONG>(0xFFFFFFFF);
  const DicomEngine::VR* vr = data.Find(group, element);
  if (vr == nullptr) return false;
  const auto* value = dynamic_cast<const DicomEngine::IntegerVR*>(vr);
  if (value == nullptr)
    THROW_MY_EXCEPTION_F(kCopyMessageSize,
                         "Failed to copy a Signed Int from VR because is not a signed int. Group=%u, Attribute=%u",
                         unsigned{group}, unsigned{element});
  number = value->Values().empty() ? 0 : value->Values().front();
  return true;
}

// "x\y" read as two floats, each half trimmed; false when there is no backslash or a half is no number.
// The pair is given back second value first, as the objects hold it.
bool ReadPair(const std::string& text, double& first, double& second) {
  const std::size_t cut = text.find('\\');
  if (cut == std::string::npos) return false;
  std::string x = text.substr(0, cut);
  std::string y = text.substr(cut + 1);
  Trim(x);
  Trim(y);
  float fx = 0.0F;
  float fy = 0.0F;
  if (std::sscanf(x.c_str(), "%f", &fx) != 1 || std::sscanf(y.c_str(), "%f", &fy) != 1) return false;
  first = fy;
  second = fx;
  return true;
}

// A failed write is repeated to learn its code, which the COM failure idiom then reports.
template <class Object, class Setter, class... Args>
void WriteProperty(Object* object, Setter setter, const char* file, int line, Args... args) {
  if (SUCCEEDED((object->*setter)(args...))) return;
  const HRESULT hr = (object->*setter)(args...);
  ThrowComFailure(hr, object, IidOf<Object>(), file, line);
}
#define WRITE(object, Name, ...) \
  WriteProperty((object), &std::remove_pointer_t<decltype(object)>::Set##Name, __FILE__, __LINE__, __VA_ARGS__)

template <class Object>
void Create(const CLSID& clsid, const char* className, Object** object) {
  if (*object != nullptr) return;
  const HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IidOf<Object>(), reinterpret_cast<void**>(object));
  if (FAILED(hr)) {
    char message[256];
    std::snprintf(message, sizeof message, "Failed to create %s COM object. HRESULT=%0X", className,
                  static_cast<unsigned>(hr));
    throw SerializableException(message, nullptr, IidOf<Object>());
  }
}

// The per-row conversions: each writes the property only when the element is there.
template <class Object>
struct Filler {
  const VRContainer& data;
  Object* object;

  template <class Setter>
  void Text(std::uint16_t group, std::uint16_t element, Setter setter, int line) {
    std::string text;
    if (!CopyString(data, group, element, text)) return;
    const BStr value(ToWide(text));
    WriteProperty(object, setter, __FILE__, line, value.Get());
  }
  template <class Setter>
  void Integer(std::uint16_t group, std::uint16_t element, Setter setter, int line) {
    std::string text;
    if (!CopyString(data, group, element, text)) return;
    using Value = SetterArgument<Setter>;
    WriteProperty(object, setter, __FILE__, line, static_cast<Value>(std::atoi(text.c_str())));
  }
  template <class Setter>
  void Float(std::uint16_t group, std::uint16_t element, Setter setter, int line) {
    std::string text;
    if (!CopyString(data, group, element, text)) return;
    WriteProperty(object, setter, __FILE__, line, std::atof(text.c_str()));
  }
  // A number of a text that may be empty, truncated to a 32-bit integer.
  template <class Setter>
  void TruncatedFloat(std::uint16_t group, std::uint16_t element, Setter setter, int line) {
    std::string text;
    if (!CopyString(data, group, element, text) || text.empty()) return;
    WriteProperty(object, setter, __FILE__, line, static_cast<LONG>(std::atof(text.c_str())));
  }
  template <class Setter>
  void UnsignedShort(std::uint16_t group, std::uint16_t element, Setter setter, int line) {
    USHORT value = 0;
    if (CopyUnsignedShort(data, group, element, value)) WriteProperty(object, setter, __FILE__, line, value);
  }
  template <class Setter>
  void Pair(std::uint16_t group, std::uint16_t element, Setter setter, int line, bool skipEmpty) {
    std::string text;
    if (!CopyString(data, group, element, text) || (skipEmpty && text.empty())) return;
    double first = 0.0;
    double second = 0.0;
    if (ReadPair(text, first, second)) WriteProperty(object, setter, __FILE__, line, first, second);
  }
  template <class Setter>
  void DateTime(std::uint16_t dateElement, std::uint16_t timeElement, Setter setter, int line) {
    std::string date;
    if (!CopyString(data, 0x0008, dateElement, date)) return;
    std::string time;
    const bool hasTime = CopyString(data, 0x0008, timeElement, time);
    WriteProperty(object, setter, __FILE__, line, DicomToDateValue(date.c_str(), hasTime ? time.c_str() : nullptr));
  }
  // A date with the time of midnight, when the text is not empty.
  template <class Setter>
  void DateOnly(std::uint16_t dateElement, Setter setter, int line) {
    std::string date;
    if (!CopyString(data, 0x0008, dateElement, date) || date.empty()) return;
    WriteProperty(object, setter, __FILE__, line, DicomToDateValue(date.c_str(), nullptr));
  }

  template <class Setter>
  struct ArgumentOf;
  template <class R, class C, class A>
  struct ArgumentOf<R (C::*)(A)> {
    using Type = A;
  };
  template <class Setter>
  using SetterArgument = typename ArgumentOf<Setter>::Type;
};

#define ROW(kind, group, element, Name, ...) \
  fill.kind(group, element, &std::remove_pointer_t<decltype(fill.object)>::Set##Name, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

template <class Object>
void FillPatientRows(const VRContainer& data, Object* patient) {
  Filler<Object> fill{data, patient};
  ROW(Text, 0x0010, 0x0020, PatientId);
  ROW(Text, 0x0010, 0x0010, PatientName);
  ROW(Text, 0x0010, 0x0040, PatientSex);
}

// The image rows. The media's variant reads slice thickness and spacing a second time behind the
// slice location, and its path is always written (it is never a stored file).
template <class Object>
void FillImageRows(const VRContainer& data, Object* image, const std::string& path, bool isStoredFile, bool media) {
  Filler<Object> fill{data, image};
  ROW(Text, 0x0008, 0x0018, SopInstanceUid);
  ROW(Text, 0x0008, 0x0016, SopClassUid);
  ROW(Text, 0x0002, 0x0010, TransferSyntaxUid);
  ROW(Integer, 0x0020, 0x0013, InstanceNumber);
  ROW(Text, 0x0008, 0x0008, ImageType);
  fill.DateTime(0x0022, 0x0032, &Object::SetAcquisitionDateTime, __LINE__);
  ROW(UnsignedShort, 0x0028, 0x0010, Rows);
  ROW(UnsignedShort, 0x0028, 0x0011, Columns);
  ROW(Integer, 0x0028, 0x0008, NumberOfFrames);
  ROW(UnsignedShort, 0x0028, 0x0002, SamplesPerPixel);
  ROW(Text, 0x0028, 0x0004, PhotometricInterpretation);
  ROW(UnsignedShort, 0x0028, 0x0006, PlanarConfiguration);
  ROW(Pair, 0x0028, 0x0030, PixelSpacing, true);
  ROW(Pair, 0x0028, 0x0034, PixelAspectRatio, true);
  ROW(Float, 0x0018, 0x1164, ImagerPixelSpacing);
  ROW(UnsignedShort, 0x0028, 0x0100, BitsAllocated);
  ROW(UnsignedShort, 0x0028, 0x0101, BitsStored);
  ROW(UnsignedShort, 0x0028, 0x0102, HighBit);
  ROW(UnsignedShort, 0x0028, 0x0103, PixelRepresentation);
  ROW(Text, 0x0028, 0x2110, LossyImageCompression);
  ROW(Float, 0x0028, 0x2112, LossyImageCompressionRatio);
  ROW(Float, 0x0018, 0x0050, SliceThickness);
  ROW(Float, 0x0018, 0x0088, SpacingBetweenSlices);
  ROW(Text, 0x0008, 0x0070, Manufacturer);
  ROW(TruncatedFloat, 0x0028, 0x1050, WindowCenter);
  ROW(TruncatedFloat, 0x0028, 0x1051, WindowWidth);
  ROW(Float, 0x0028, 0x1052, RescaleIntercept);
  ROW(Float, 0x0028, 0x1053, RescaleSlope);
  ROW(Text, 0x0028, 0x1054, RescaleType);
  ROW(Text, 0x0018, 0x0010, ContrastBolusAgent);
  ROW(Float, 0x0020, 0x1041, SliceLocation);
  if (media) {
    ROW(Float, 0x0018, 0x0050, SliceThickness);
    ROW(Float, 0x0018, 0x0088, SpacingBetweenSlices);
  }
  ROW(Text, 0x0020, 0x0032, ImagePosition);
  ROW(Text, 0x0020, 0x0037, ImageOrientation);
  ROW(Text, 0x0008, 0x0068, PresentationIntentType);
  ROW(Text, 0x0018, 0x1210, ConvolutionKernel);
  {
    const BStr fileName = isStoredFile ? BStr() : BStr(ToWide(path));
    WRITE(image, FileName, fileName.Get());
    WRITE(image, IsStoredFile, static_cast<VARIANT_BOOL>(isStoredFile ? VARIANT_TRUE : VARIANT_FALSE));
  }
  ROW(Text, 0x0018, 0x1600, ShutterShape);
  ROW(Integer, 0x0018, 0x1602, ShutterLeftEdge);
  ROW(Integer, 0x0018, 0x1604, ShutterRightEdge);
  ROW(Integer, 0x0018, 0x1606, ShutterUpperEdge);
  ROW(Integer, 0x0018, 0x1608, ShutterLowerEdge);
  ROW(Pair, 0x0018, 0x1610, ShutterCircularCenter, false);
  ROW(Integer, 0x0018, 0x1612, ShutterRadius);
  // The polygon's vertices replace the shape text: the workstation has always kept them there.
  ROW(Text, 0x0018, 0x1620, ShutterShape);
  LONG presentationValue = 0;
  if (CopySignedInt(data, 0x0018, 0x1622, presentationValue))
    WRITE(image, ShutterPresentationValue, static_cast<USHORT>(presentationValue));
}

}  // namespace

void DicomToSQL::FillPatient(const DicomData& data, IPatientInfoNW** patient) {
  Create(CLSID_PatientInfoNW, "PatientInfoNW", patient);
  FillPatientRows(data, *patient);
}

void DicomToSQL::FillStudy(const DicomData& data, IStudyInfoNW** study) {
  Create(CLSID_StudyInfoNW, "StudyInfoNW", study);
  Filler<IStudyInfoNW> fill{data, *study};
  ROW(Text, 0x0020, 0x000D, StudyInstanceUid);
  ROW(Text, 0x0020, 0x0010, StudyId);
  ROW(Text, 0x0008, 0x0050, AccessionNumber);
  ROW(Text, 0x0008, 0x1030, StudyDescription);
  fill.DateOnly(0x0020, &IStudyInfoNW::SetStudyDateTime, __LINE__);
  ROW(Text, 0x0008, 0x0090, ReferringPhysicianName);
  if (data.Find(0x0008, 0x0061) != nullptr)
    ROW(Text, 0x0008, 0x0061, ModalitiesInStudy);
  else
    ROW(Text, 0x0008, 0x0060, ModalitiesInStudy);
  ROW(Text, 0x0008, 0x0080, InstitutionName);
  ROW(Text, 0x0010, 0x1010, PatientAge);
  ROW(Text, 0x0010, 0x1020, PatientSize);
  ROW(Text, 0x0010, 0x1030, PatientWeight);
  ROW(Text, 0x0032, 0x4000, StudyComments);
}

void DicomToSQL::FillSeries(const DicomData& data, ISeriesInfoNW** series) {
  Create(CLSID_SeriesInfoNW, "SeriesInfoNW", series);
  Filler<ISeriesInfoNW> fill{data, *series};
  ROW(Text, 0x0020, 0x000E, SeriesInstanceUid);
  ROW(Integer, 0x0020, 0x0011, SeriesNumber);
  ROW(Text, 0x0008, 0x0060, Modality);
  fill.DateTime(0x0021, 0x0031, &ISeriesInfoNW::SetSeriesDateTime, __LINE__);
  ROW(Text, 0x0008, 0x103E, SeriesDescription);
  ROW(Text, 0x0008, 0x1050, PerformingPhysicianName);
  ROW(Text, 0x0020, 0x0052, FrameOfReferenceUid);
}

void DicomToSQL::FillImage(const DicomData& data, IImageInfoNW** image, const std::string& path, bool isStoredFile) {
  Create(CLSID_ImageInfoNW, "ImageInfoNW", image);
  FillImageRows(data, *image, path, isStoredFile, false);
}

void DicomDirToSQL::FillDirPatient(const VRContainer& data, IDicomDirPatient** patient) {
  Create(CLSID_DicomDirPatient, "DicomDirPatient", patient);
  FillPatientRows(data, *patient);
}

void DicomDirToSQL::FillDirStudy(const VRContainer& data, IDicomDirStudy** study) {
  Create(CLSID_DicomDirStudy, "DicomDirStudy", study);
  Filler<IDicomDirStudy> fill{data, *study};
  ROW(Text, 0x0020, 0x000D, StudyInstanceUid);
  ROW(Text, 0x0020, 0x0010, StudyId);
  ROW(Text, 0x0008, 0x0050, AccessionNumber);
  ROW(Text, 0x0008, 0x1030, StudyDescription);
  ROW(Text, 0x0008, 0x0080, InstitutionName);
  fill.DateOnly(0x0020, &IDicomDirStudy::SetStudyDateTime, __LINE__);
}

void DicomDirToSQL::FillDirSeries(const VRContainer& data, IDicomDirSeries** series) {
  Create(CLSID_DicomDirSeries, "DicomDirSeries", series);
  Filler<IDicomDirSeries> fill{data, *series};
  ROW(Text, 0x0020, 0x000E, SeriesInstanceUid);
  ROW(Integer, 0x0020, 0x0011, SeriesNumber);
  ROW(Text, 0x0008, 0x0060, Modality);
  fill.DateTime(0x0021, 0x0031, &IDicomDirSeries::SetSeriesDateTime, __LINE__);
  ROW(Text, 0x0008, 0x103E, SeriesDescription);
}

void DicomDirToSQL::FillDirImage(const VRContainer& data, IDicomDirImage** image, const std::string& path,
                                 bool isStoredFile) {
  Create(CLSID_DicomDirImage, "DicomDirImage", image);
  FillImageRows(data, *image, path, isStoredFile, true);
}
