// The one way the core reads facts about an image, its series, its study and its patient.
//
// A strategy wraps the host's image object and walks up to its series, study and patient, holding a
// reference to each. ImageInfoWStationStrategy reads the workstation's objects, ImageInfoDicomDirStrategy
// the objects that describe DICOM media. The operations stand in slot order.
//
// Unless said otherwise, a getter whose object call fails throws the COM failure idiom ("COM method
// failed. HRESULT=%x, File=%s, Line=%d"). A property the object does not have ("not available")
// reads as 0, 0.0 or a null text. Integers are 16-bit unsigned unless the type says otherwise.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dicom/vr_container.h"
#include "ondrel/platform/bstr.h"
#include "ondrel/platform/wintypes.h"

class ImageInfoStrategy {
 public:
  using Text = ondrel::platform::BStr;

  virtual ~ImageInfoStrategy() = default;

  virtual Text GetSopInstanceUid() = 0;                        // 1: (0008,0018)
  virtual Text GetSopClassUid() = 0;                           // 2: (0008,0016)
  virtual Text GetFileName() = 0;                              // 3
  virtual VARIANT_BOOL GetIsStoredFile() = 0;                  // 4
  virtual VARIANT_BOOL GetNeedsDicomData() = 0;                // 5
  virtual LONG GetTaggedState(LONG window) = 0;                // 6: non-zero when tagged in the window
  virtual LONG GetMprType() = 0;                               // 7: series role, 2 or more if derived
  virtual LONG GetMipType() = 0;                               // 8
  virtual LONG GetVolumeType() = 0;                            // 9
  virtual Text GetTransferSyntaxUid() = 0;                     // 10: (0002,0010)
  virtual Text GetImageType() = 0;                             // 11: (0008,0008)
  virtual USHORT GetBitsStored() = 0;                          // 12: (0028,0101)
  virtual USHORT GetFrameIndex() = 0;                          // 13
  virtual USHORT GetRows() = 0;                                // 14: (0028,0010)
  virtual USHORT GetColumns() = 0;                             // 15: (0028,0011)
  virtual USHORT GetBitsAllocated() = 0;                       // 16: (0028,0100)
  virtual USHORT GetSamplesPerPixel() = 0;                     // 17: (0028,0002)
  virtual USHORT GetHighBit() = 0;                             // 18: (0028,0102)
  virtual USHORT GetShutterPresentationValue() = 0;            // 19: (0018,1622)
  virtual Text GetShutterShape() = 0;                          // 20: (0018,1600)
  virtual void GetShutterCircularCenter(SHORT* x, SHORT* y) = 0;  // 21: (0018,1610)
  virtual USHORT GetShutterRadius() = 0;                       // 22: (0018,1612)
  virtual USHORT GetShutterLeftEdge() = 0;                     // 23: (0018,1602)
  virtual USHORT GetShutterRightEdge() = 0;                    // 24: (0018,1604)
  virtual USHORT GetShutterUpperEdge() = 0;                    // 25: (0018,1606)
  virtual USHORT GetShutterLowerEdge() = 0;                    // 26: (0018,1608)
  virtual Text GetShutterVertices() = 0;                       // 27: (0018,1620)
  virtual USHORT GetPlanarConfiguration() = 0;                 // 28: (0028,0006)
  virtual double GetRescaleSlope() = 0;                        // 29: (0028,1053)
  virtual double GetRescaleIntercept() = 0;                    // 30: (0028,1052)
  virtual USHORT GetPixelRepresentation() = 0;                 // 31: (0028,0103)
  virtual LONG GetWindowCenter() = 0;                          // 32: (0028,1050)
  virtual LONG GetWindowWidth() = 0;                           // 33: (0028,1051)
  virtual Text GetPhotometricInterpretation() = 0;             // 34: (0028,0004)
  virtual Text GetManufacturer() = 0;                          // 35: (0008,0070)
  virtual DATE GetAcquisitionDateTime() = 0;                   // 36: (0008,0022) with (0008,0032)
  virtual LONG GetInstanceNumber() = 0;                        // 37: (0020,0013)
  // 38 to 40 never throw: false when the value is not available.
  virtual bool GetPixelSpacing(double* x, double* y) = 0;      // 38: (0028,0030), horizontal first
  virtual bool GetImagePosition(double* x, double* y, double* z) = 0;  // 39: (0020,0032)
  virtual bool GetImageOrientation(double* rowX, double* rowY, double* rowZ, double* columnX, double* columnY,
                                   double* columnZ) = 0;       // 40: (0020,0037)
  virtual double GetSliceLocation() = 0;                       // 41: (0020,1041)
  virtual double GetSpacingBetweenSlices() = 0;                // 42: (0018,0088)
  virtual Text GetContrastBolusAgent() = 0;                    // 43: (0018,0010)
  virtual Text GetSeriesInstanceUid() = 0;                     // 44: (0020,000E)
  virtual Text GetModality() = 0;                              // 45: (0008,0060)
  virtual Text GetSeriesDescription() = 0;                     // 46: (0008,103E)
  virtual DATE GetSeriesDateTime() = 0;                        // 47: (0008,0021) with (0008,0031)
  virtual Text GetStudyDescription() = 0;                      // 48: (0008,1030)
  virtual Text GetInstitutionName() = 0;                       // 49: (0008,0080)
  virtual DATE GetStudyDateTime() = 0;                         // 50: (0008,0020) with (0008,0030)
  virtual Text GetPatientName() = 0;                           // 51: (0010,0010)
  virtual Text GetPatientSex() = 0;                            // 52: (0010,0040)
  virtual Text GetFrameOfReferenceUid() = 0;                   // 53: (0020,0052)
  virtual void SetSeriesPixelSpacing(double x, double y) = 0;  // 54: a calibration for the whole series
  virtual void SetPixelSpacing(double x, double y) = 0;        // 55
  virtual void SetRows(USHORT value) = 0;                      // 56
  virtual void SetColumns(USHORT value) = 0;                   // 57
  virtual void SetBitsStored(USHORT value) = 0;                // 58
  virtual void SetBitsAllocated(USHORT value) = 0;             // 59
  virtual void SetHighBit(USHORT value) = 0;                   // 60
  virtual void SetPixelRepresentation(USHORT value) = 0;       // 61
  virtual void SetPhotometricInterpretation(const std::u16string& value) = 0;  // 62
  virtual void SetSamplesPerPixel(USHORT value) = 0;           // 63
  virtual void SetPlanarConfiguration(USHORT value) = 0;       // 64
  // 65: fills the image, series, study and patient objects, in this order, from a data set read from
  // `fileName`.
  virtual void LoadFromDicomData(const DicomEngine::DicomData& data, const std::string& fileName) = 0;
  // 66: adds what the patient, study, series and image objects know to `data`, in this order.
  virtual void FillDicomData(DicomEngine::DicomData& data) = 0;
  // 67: a strategy for every image of the series, in series order.
  virtual std::vector<std::unique_ptr<ImageInfoStrategy>> GetSeriesImages() = 0;
};
