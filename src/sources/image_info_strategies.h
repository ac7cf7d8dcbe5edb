// The two image info strategies: over the workstation's objects and over the media's.
#pragma once

#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"
#include "sources/image_info_strategy.h"

namespace sources_detail {

// What both strategies do alike: the four references and the getters that read the same attribute
// from either family of objects, whose methods have the same names.
template <class Image, class Series, class Study, class Patient>
class StrategyBase : public ImageInfoStrategy {
 public:
  // Holds `image` and walks up to its series, study and patient. Throws the COM failure idiom when a
  // step fails, E_POINTER for a null image.
  explicit StrategyBase(Image* image);

  Text GetSopInstanceUid() override;
  Text GetSopClassUid() override;
  Text GetFileName() override;
  VARIANT_BOOL GetNeedsDicomData() override;
  LONG GetTaggedState(LONG window) override;
  Text GetTransferSyntaxUid() override;
  Text GetImageType() override;
  USHORT GetBitsStored() override;
  USHORT GetFrameIndex() override;
  USHORT GetRows() override;
  USHORT GetColumns() override;
  USHORT GetBitsAllocated() override;
  USHORT GetSamplesPerPixel() override;
  USHORT GetHighBit() override;
  USHORT GetShutterPresentationValue() override;
  Text GetShutterShape() override;
  void GetShutterCircularCenter(SHORT* x, SHORT* y) override;
  USHORT GetShutterRadius() override;
  USHORT GetShutterLeftEdge() override;
  USHORT GetShutterRightEdge() override;
  USHORT GetShutterUpperEdge() override;
  USHORT GetShutterLowerEdge() override;
  Text GetShutterVertices() override;
  USHORT GetPlanarConfiguration() override;
  double GetRescaleSlope() override;
  double GetRescaleIntercept() override;
  USHORT GetPixelRepresentation() override;
  LONG GetWindowCenter() override;
  LONG GetWindowWidth() override;
  Text GetPhotometricInterpretation() override;
  Text GetManufacturer() override;
  DATE GetAcquisitionDateTime() override;
  LONG GetInstanceNumber() override;
  bool GetPixelSpacing(double* x, double* y) override;
  double GetSliceLocation() override;
  double GetSpacingBetweenSlices() override;
  Text GetContrastBolusAgent() override;
  Text GetSeriesInstanceUid() override;
  Text GetModality() override;
  Text GetSeriesDescription() override;
  DATE GetSeriesDateTime() override;
  Text GetStudyDescription() override;
  Text GetInstitutionName() override;
  DATE GetStudyDateTime() override;
  Text GetPatientName() override;
  Text GetPatientSex() override;
  void SetPixelSpacing(double x, double y) override;
  void SetRows(USHORT value) override;
  void SetColumns(USHORT value) override;
  void SetBitsStored(USHORT value) override;
  void SetBitsAllocated(USHORT value) override;
  void SetHighBit(USHORT value) override;
  void SetPixelRepresentation(USHORT value) override;
  void SetPhotometricInterpretation(const std::u16string& value) override;
  void SetSamplesPerPixel(USHORT value) override;
  void SetPlanarConfiguration(USHORT value) override;

 protected:
  ondrel::platform::ComPtr<Image> image_;
  ondrel::platform::ComPtr<Series> series_;
  ondrel::platform::ComPtr<Study> study_;
  ondrel::platform::ComPtr<Patient> patient_;
};

extern template class StrategyBase<IImageInfoNW, ISeriesInfoNW, IStudyInfoNW, IPatientInfoNW>;
extern template class StrategyBase<IDicomDirImage, IDicomDirSeries, IDicomDirStudy, IDicomDirPatient>;

}  // namespace sources_detail

class ImageInfoWStationStrategy final
    : public sources_detail::StrategyBase<IImageInfoNW, ISeriesInfoNW, IStudyInfoNW, IPatientInfoNW> {
 public:
  using StrategyBase::StrategyBase;

  VARIANT_BOOL GetIsStoredFile() override;
  LONG GetMprType() override;
  LONG GetMipType() override;
  LONG GetVolumeType() override;
  bool GetImagePosition(double* x, double* y, double* z) override;
  bool GetImageOrientation(double* rowX, double* rowY, double* rowZ, double* columnX, double* columnY,
                           double* columnZ) override;
  Text GetFrameOfReferenceUid() override;
  void SetSeriesPixelSpacing(double x, double y) override;
  void LoadFromDicomData(const DicomEngine::DicomData& data, const std::string& fileName) override;
  void FillDicomData(DicomEngine::DicomData& data) override;
  std::vector<std::unique_ptr<ImageInfoStrategy>> GetSeriesImages() override;
  // Hands `data`, the data set of this image, with the image, series, study and patient objects to
  // the disk storage, as a stored file in little-endian implicit VR: the image becomes a stored file
  // (IsStoredFile true), the Store records the objects and sets the image's FileName in the storage
  // tree, and the file is written there. Throws the disk storage's failures.
  void StoreDicomData(DicomEngine::DicomData& data);

  IImageInfoNW* Image() const { return image_.Get(); }
  ISeriesInfoNW* Series() const { return series_.Get(); }
};

// Media objects carry no storage flag and no derived roles, and their position and orientation are the
// texts of the directory records, read as single-precision numbers.
class ImageInfoDicomDirStrategy final
    : public sources_detail::StrategyBase<IDicomDirImage, IDicomDirSeries, IDicomDirStudy, IDicomDirPatient> {
 public:
  using StrategyBase::StrategyBase;

  VARIANT_BOOL GetIsStoredFile() override { return 0; }
  LONG GetMprType() override { return 0; }
  LONG GetMipType() override { return 0; }
  LONG GetVolumeType() override { return 0; }
  bool GetImagePosition(double* x, double* y, double* z) override;
  bool GetImageOrientation(double* rowX, double* rowY, double* rowZ, double* columnX, double* columnY,
                           double* columnZ) override;
  // Always throws "The Frame of Reference UID is not implemented in DICOM DIR.".
  Text GetFrameOfReferenceUid() override;
  void SetSeriesPixelSpacing(double x, double y) override;
  // Calls the rows setter, as media images always have.
  void SetColumns(USHORT value) override;
  void LoadFromDicomData(const DicomEngine::DicomData& data, const std::string& fileName) override;
  void FillDicomData(DicomEngine::DicomData&) override {}
  std::vector<std::unique_ptr<ImageInfoStrategy>> GetSeriesImages() override { return {}; }
};
