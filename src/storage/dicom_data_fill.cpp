// Building a data set from the workstation's information objects.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "dicom/dicom_dictionary.h"
#include "dicom/vr.h"
#include "foundation/date_utils.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/bstr.h"
#include "storage/dicom_to_sql.h"

using DicomEngine::DicomData;

namespace {

using ondrel::platform::BStr;

constexpr std::size_t kNumberBufferSize = 31;

bool IsTextVR(const std::string& vr) {
  for (const char* accepted : {"DS", "DA", "TM", "AE", "PN", "SH", "ST", "LO", "LT", "IS", "CS", "AS"})
    if (vr == accepted) return true;
  return false;
}

std::string VROf(std::uint16_t group, std::uint16_t element) {
  return DicomEngine::DicomDictionary::Instance().GetVR(group, element);
}

// The attribute helpers: each adds in tag order when the dictionary's VR is one it accepts, and
// otherwise adds nothing and says nothing.
void AddText(DicomData& data, std::uint16_t group, std::uint16_t element, const std::string& text) {
  const std::string vr = VROf(group, element);
  std::unique_ptr<DicomEngine::VRString> value;
  if (IsTextVR(vr))
    value = std::make_unique<DicomEngine::VRString>(vr, group, element, 0, std::string());
  else if (vr == "UI")
    value = std::make_unique<DicomEngine::VRUniqueIdentifier>(vr, group, element, 0, std::string());
  else
    return;
  value->SetValue(text);
  data.AddSorted(std::move(value));
}

void AddWideText(DicomData& data, std::uint16_t group, std::uint16_t element, const std::u16string& text) {
  AddText(data, group, element, ToNarrow(text));
}

// Takes the text, adds it and frees it.
void AddBstr(DicomData& data, std::uint16_t group, std::uint16_t element, BStr& text) {
  AddWideText(data, group, element, std::u16string(text.Get() != nullptr ? text.Get() : u"", text.Length()));
  text = BStr();
}

void AddNumber(DicomData& data, std::uint16_t group, std::uint16_t element, double number) {
  const std::string vr = VROf(group, element);
  char text[kNumberBufferSize];
  if (vr == "FL" || vr == "FD") {
    std::snprintf(text, sizeof text, vr == "FL" ? "%4f" : "%8f", number);
    data.AddSorted(std::make_unique<DicomEngine::DoubleVR>(vr, group, element, vr == "FL" ? 4 : 8, std::atof(text)));
  } else if (vr == "DS") {
    std::snprintf(text, sizeof text, "%4f", number);
    AddText(data, group, element, text);
  }
}

void AddLong(DicomData& data, std::uint16_t group, std::uint16_t element, LONG number) {
  const std::string vr = VROf(group, element);
  if (vr == "SL")
    data.AddSorted(std::make_unique<DicomEngine::IntegerVR>(vr, group, element, 4, number));
  else if (vr == "UL")
    data.AddSorted(std::make_unique<DicomEngine::UnsignedIntegerVR>(vr, group, element, 4, static_cast<std::uint32_t>(number)));
}

void AddShort(DicomData& data, std::uint16_t group, std::uint16_t element, USHORT number) {
  const std::string vr = VROf(group, element);
  if (vr == "SS")
    data.AddSorted(std::make_unique<DicomEngine::SignedShortVR>(vr, group, element, 2, static_cast<std::int16_t>(number)));
  else if (vr == "US")
    data.AddSorted(std::make_unique<DicomEngine::UnsignedShortVR>(vr, group, element, 2, number));
}

// A property counts only when read with S_OK: anything else means "not available".
template <class Object, class Getter>
bool ReadText(Object* object, Getter getter, BStr& text) {
  return (object->*getter)(text.Out()) == S_OK;
}

template <class Object>
void AddTextProperty(DicomData& data, Object* object, HRESULT (Object::*getter)(BSTR*), std::uint16_t group,
                     std::uint16_t element) {
  BStr text;
  if (ReadText(object, getter, text)) AddBstr(data, group, element, text);
}

// A study or series date and time, in DICOM form; 0.0 adds nothing.
void AddCompactDateTime(DicomData& data, double value, std::uint16_t dateElement, std::uint16_t timeElement) {
  std::string date;
  std::string time;
  if (!DateValueToDicom(value, date, time)) return;
  AddText(data, 0x0008, dateElement, date);
  AddText(data, 0x0008, timeElement, time);
}

void FillFromPatient(IPatientInfoNW* patient, DicomData& data) {
  AddTextProperty(data, patient, &IPatientInfoNW::GetPatientName, 0x0010, 0x0010);
  AddTextProperty(data, patient, &IPatientInfoNW::GetPatientId, 0x0010, 0x0020);
  AddTextProperty(data, patient, &IPatientInfoNW::GetPatientSex, 0x0010, 0x0040);
}

void FillFromStudy(IStudyInfoNW* study, DicomData& data) {
  AddTextProperty(data, study, &IStudyInfoNW::GetStudyInstanceUid, 0x0020, 0x000D);
  AddTextProperty(data, study, &IStudyInfoNW::GetStudyId, 0x0020, 0x0010);
  AddTextProperty(data, study, &IStudyInfoNW::GetAccessionNumber, 0x0008, 0x0050);
  AddTextProperty(data, study, &IStudyInfoNW::GetStudyDescription, 0x0008, 0x1030);
  AddTextProperty(data, study, &IStudyInfoNW::GetReferringPhysicianName, 0x0008, 0x0090);
  AddTextProperty(data, study, &IStudyInfoNW::GetInstitutionName, 0x0008, 0x0080);
  DATE date = 0.0;
  if (study->GetStudyDateTime(&date) == S_OK) AddCompactDateTime(data, date, 0x0020, 0x0030);
  AddTextProperty(data, study, &IStudyInfoNW::GetStudyComments, 0x0032, 0x4000);
}

void FillFromSeries(ISeriesInfoNW* series, DicomData& data) {
  AddTextProperty(data, series, &ISeriesInfoNW::GetSeriesInstanceUid, 0x0020, 0x000E);
  // The series number's standard VR is IS, which AddLong does not take: with the standard dictionary
  // the number is not written. Kept so: derived series have always gone without it.
  SHORT number = 0;
  if (series->GetSeriesNumber(&number) == S_OK) AddLong(data, 0x0020, 0x0011, number);
  AddTextProperty(data, series, &ISeriesInfoNW::GetSeriesDescription, 0x0008, 0x103E);
  AddTextProperty(data, series, &ISeriesInfoNW::GetModality, 0x0008, 0x0060);
  DATE date = 0.0;
  if (series->GetSeriesDateTime(&date) == S_OK) AddCompactDateTime(data, date, 0x0021, 0x0031);
  AddTextProperty(data, series, &ISeriesInfoNW::GetPerformingPhysicianName, 0x0008, 0x1050);
  AddTextProperty(data, series, &ISeriesInfoNW::GetFrameOfReferenceUid, 0x0020, 0x0052);
}

// Image texts must also be non-null to be added.
void AddImageText(DicomData& data, IImageInfoNW* image, HRESULT (IImageInfoNW::*getter)(BSTR*), std::uint16_t group,
                  std::uint16_t element) {
  BStr text;
  if (ReadText(image, getter, text) && !text.IsNull()) AddBstr(data, group, element, text);
}

void AddShortProperty(DicomData& data, IImageInfoNW* image, HRESULT (IImageInfoNW::*getter)(USHORT*),
                      std::uint16_t group, std::uint16_t element) {
  USHORT value = 0;
  if ((image->*getter)(&value) == S_OK) AddShort(data, group, element, value);
}

void AddNumberProperty(DicomData& data, IImageInfoNW* image, HRESULT (IImageInfoNW::*getter)(double*),
                       std::uint16_t group, std::uint16_t element) {
  double value = 0.0;
  if ((image->*getter)(&value) == S_OK) AddNumber(data, group, element, value);
}

void FillFromImage(IImageInfoNW* image, DicomData& data) {
  AddImageText(data, image, &IImageInfoNW::GetSopInstanceUid, 0x0008, 0x0018);
  AddImageText(data, image, &IImageInfoNW::GetSopClassUid, 0x0008, 0x0016);
  AddImageText(data, image, &IImageInfoNW::GetTransferSyntaxUid, 0x0002, 0x0010);
  LONG instanceNumber = 0;
  if (image->GetInstanceNumber(&instanceNumber) == S_OK) {
    char text[10];
    std::snprintf(text, sizeof text, "%d", static_cast<int>(instanceNumber));
    AddText(data, 0x0020, 0x0013, text);
  }
  AddImageText(data, image, &IImageInfoNW::GetImageType, 0x0008, 0x0008);
  DATE acquired = 0.0;
  std::u16string date;
  std::u16string time;
  if (image->GetAcquisitionDateTime(&acquired) == S_OK && DateValueToDisplay(acquired, date, time)) {
    AddWideText(data, 0x0008, 0x0022, date);
    AddWideText(data, 0x0008, 0x0032, time);
  }
  AddShortProperty(data, image, &IImageInfoNW::GetRows, 0x0028, 0x0010);
  AddShortProperty(data, image, &IImageInfoNW::GetColumns, 0x0028, 0x0011);
  AddShortProperty(data, image, &IImageInfoNW::GetSamplesPerPixel, 0x0028, 0x0002);
  AddImageText(data, image, &IImageInfoNW::GetPhotometricInterpretation, 0x0028, 0x0004);
  AddShortProperty(data, image, &IImageInfoNW::GetPlanarConfiguration, 0x0028, 0x0006);
  double horizontal = 0.0;
  double vertical = 0.0;
  if (image->GetPixelSpacing(&horizontal, &vertical) == S_OK) {
    // The DICOM text holds the vertical spacing first.
    char text[32];
    std::snprintf(text, sizeof text, "%4.6f\\%4.6f", vertical, horizontal);
    AddText(data, 0x0028, 0x0030, text);
  }
  AddShortProperty(data, image, &IImageInfoNW::GetBitsAllocated, 0x0028, 0x0100);
  AddShortProperty(data, image, &IImageInfoNW::GetBitsStored, 0x0028, 0x0101);
  AddShortProperty(data, image, &IImageInfoNW::GetHighBit, 0x0028, 0x0102);
  AddShortProperty(data, image, &IImageInfoNW::GetPixelRepresentation, 0x0028, 0x0103);
  AddNumberProperty(data, image, &IImageInfoNW::GetSliceThickness, 0x0018, 0x0050);
  AddNumberProperty(data, image, &IImageInfoNW::GetSpacingBetweenSlices, 0x0018, 0x0088);
  AddNumberProperty(data, image, &IImageInfoNW::GetSliceLocation, 0x0020, 0x1041);
  AddImageText(data, image, &IImageInfoNW::GetManufacturer, 0x0008, 0x0070);
  LONG window = 0;
  if (image->GetWindowCenter(&window) == S_OK && window != 0) AddNumber(data, 0x0028, 0x1050, window);
  if (image->GetWindowWidth(&window) == S_OK && window != 0) AddNumber(data, 0x0028, 0x1051, window);
  AddNumberProperty(data, image, &IImageInfoNW::GetRescaleIntercept, 0x0028, 0x1052);
  AddNumberProperty(data, image, &IImageInfoNW::GetRescaleSlope, 0x0028, 0x1053);
  AddImageText(data, image, &IImageInfoNW::GetRescaleType, 0x0028, 0x1054);
  AddImageText(data, image, &IImageInfoNW::GetContrastBolusAgent, 0x0018, 0x0010);
  AddImageText(data, image, &IImageInfoNW::GetImagePosition, 0x0020, 0x0032);
  AddImageText(data, image, &IImageInfoNW::GetImageOrientation, 0x0020, 0x0037);
  AddImageText(data, image, &IImageInfoNW::GetPresentationIntentType, 0x0008, 0x0068);
  AddImageText(data, image, &IImageInfoNW::GetConvolutionKernel, 0x0018, 0x1210);
  BStr fileName;
  if (ReadText(image, &IImageInfoNW::GetFileName, fileName) && !fileName.IsNull())
    data.SetFileName(ToNarrow(std::u16string(fileName.Get(), fileName.Length())));
  VARIANT_BOOL stored = VARIANT_TRUE;
  if (image->GetIsStoredFile(&stored) == S_OK && stored == VARIANT_TRUE) data.SetIsStoredFile(true);
}

}  // namespace

void DicomToSQL::FillDicomData(IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series,
                               IImageInfoNW* image, DicomData& data) {
  if (patient != nullptr) FillFromPatient(patient, data);
  if (study != nullptr) FillFromStudy(study, data);
  if (series != nullptr) FillFromSeries(series, data);
  if (image != nullptr) FillFromImage(image, data);
}
