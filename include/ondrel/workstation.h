// The workstation's information objects: patients, studies, series and images, as the workstation's
// database knows them (the "NW" objects), and the same four for DICOM media (the DicomDir objects).
// The core reads image facts from them and fills them from DICOM files; hosts build them (see
// ondrel/study_builder.h) and hand image objects to the core.
//
// Every object is a COM class of the process-wide class table, made with CoCreateInstance once
// RegisterWorkstationClasses has run. Each property has a typed getter and setter, in that order:
// - Get... gives S_OK and the value once the property has been set; a property never set is "not
//   available": S_FALSE with a zero value (a null BSTR, 0, 0.0, VARIANT_FALSE). E_POINTER for a null
//   out pointer. A BSTR given out is the caller's to free.
// - Set... stores a copy (a null BSTR stores the empty text) and gives S_OK.
//
// Objects are linked into a graph: patient -> studies -> series -> images, each with its way up.
// A graph lives as long as any of its objects is referenced: holding an image keeps its series,
// study and patient, and holding a series keeps its images.
#pragma once

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"
#include "ondrel/platform/safearray.h"

// Property lists, as X(kind, Name). Kinds: TEXT (BSTR), USHORT, SHORT, LONG, DOUBLE, DATE (an automation
// date), BOOL (VARIANT_BOOL), PAIR (two doubles, given and taken in one call), SLOPE (a double that
// reads 1.0 while not available: an image without a rescale slope is stored values as they are).
#define ONDREL_PATIENT_PROPERTIES(X) \
  X(TEXT, PatientId)                 \
  X(TEXT, PatientName)               \
  X(TEXT, PatientSex)

#define ONDREL_STUDY_PROPERTIES(X)   \
  X(TEXT, StudyInstanceUid)          \
  X(TEXT, StudyId)                   \
  X(TEXT, AccessionNumber)           \
  X(TEXT, StudyDescription)          \
  X(TEXT, ReferringPhysicianName)    \
  X(TEXT, InstitutionName)           \
  X(DATE, StudyDateTime)             \
  X(TEXT, ModalitiesInStudy)         \
  X(TEXT, PatientAge)                \
  X(TEXT, PatientSize)               \
  X(TEXT, PatientWeight)             \
  X(TEXT, StudyComments)

// MprType, MipType and VolumeType are the series' role in a derived view: 0 or 1 for an ordinary
// series, 2 or more for one derived by the core.
#define ONDREL_SERIES_PROPERTIES(X)  \
  X(TEXT, SeriesInstanceUid)         \
  X(SHORT, SeriesNumber)             \
  X(TEXT, Modality)                  \
  X(TEXT, SeriesDescription)         \
  X(DATE, SeriesDateTime)            \
  X(TEXT, PerformingPhysicianName)   \
  X(TEXT, FrameOfReferenceUid)       \
  X(LONG, MprType)                   \
  X(LONG, MipType)                   \
  X(LONG, VolumeType)

// PixelSpacing and the other pairs hold (horizontal, vertical), or (x, y) for the shutter's centre:
// the reverse of the order of their DICOM texts. FileName is the image's file; IsStoredFile says that
// the file is kept by the workstation's storage; NeedsDicomData asks the core to fill the object from
// its file when it loads it; FrameIndex is the frame of a multi-frame file the object stands for.
#define ONDREL_IMAGE_PROPERTIES(X)   \
  X(TEXT, SopInstanceUid)            \
  X(TEXT, SopClassUid)               \
  X(TEXT, TransferSyntaxUid)         \
  X(LONG, InstanceNumber)            \
  X(TEXT, ImageType)                 \
  X(DATE, AcquisitionDateTime)       \
  X(USHORT, Rows)                    \
  X(USHORT, Columns)                 \
  X(LONG, NumberOfFrames)            \
  X(USHORT, SamplesPerPixel)         \
  X(TEXT, PhotometricInterpretation) \
  X(USHORT, PlanarConfiguration)     \
  X(PAIR, PixelSpacing)              \
  X(PAIR, PixelAspectRatio)          \
  X(DOUBLE, ImagerPixelSpacing)      \
  X(USHORT, BitsAllocated)           \
  X(USHORT, BitsStored)              \
  X(USHORT, HighBit)                 \
  X(USHORT, PixelRepresentation)     \
  X(TEXT, LossyImageCompression)     \
  X(DOUBLE, LossyImageCompressionRatio) \
  X(DOUBLE, SliceThickness)          \
  X(DOUBLE, SpacingBetweenSlices)    \
  X(TEXT, Manufacturer)              \
  X(LONG, WindowCenter)              \
  X(LONG, WindowWidth)               \
  X(DOUBLE, RescaleIntercept)        \
  X(SLOPE, RescaleSlope)             \
  X(TEXT, RescaleType)               \
  X(TEXT, ContrastBolusAgent)        \
  X(DOUBLE, SliceLocation)           \
  X(TEXT, ImagePosition)             \
  X(TEXT, ImageOrientation)          \
  X(TEXT, PresentationIntentType)    \
  X(TEXT, ConvolutionKernel)         \
  X(TEXT, FileName)                  \
  X(BOOL, IsStoredFile)              \
  X(TEXT, ShutterShape)              \
  X(USHORT, ShutterLeftEdge)         \
  X(USHORT, ShutterRightEdge)        \
  X(USHORT, ShutterUpperEdge)        \
  X(USHORT, ShutterLowerEdge)        \
  X(PAIR, ShutterCircularCenter)     \
  X(USHORT, ShutterRadius)           \
  X(TEXT, ShutterVertices)           \
  X(USHORT, ShutterPresentationValue) \
  X(BOOL, NeedsDicomData)            \
  X(USHORT, FrameIndex)

// The media objects hold fewer facts: what a DICOMDIR's records carry.
#define ONDREL_DICOMDIR_STUDY_PROPERTIES(X) \
  X(TEXT, StudyInstanceUid)                 \
  X(TEXT, StudyId)                          \
  X(TEXT, AccessionNumber)                  \
  X(TEXT, StudyDescription)                 \
  X(TEXT, InstitutionName)                  \
  X(DATE, StudyDateTime)

#define ONDREL_DICOMDIR_SERIES_PROPERTIES(X) \
  X(TEXT, SeriesInstanceUid)                 \
  X(SHORT, SeriesNumber)                     \
  X(TEXT, Modality)                          \
  X(DATE, SeriesDateTime)                    \
  X(TEXT, SeriesDescription)                 \
  X(PAIR, PixelSpacing)

#define ONDREL_PROPERTY_TYPE_TEXT BSTR
#define ONDREL_PROPERTY_TYPE_USHORT USHORT
#define ONDREL_PROPERTY_TYPE_SHORT SHORT
#define ONDREL_PROPERTY_TYPE_LONG LONG
#define ONDREL_PROPERTY_TYPE_DOUBLE double
#define ONDREL_PROPERTY_TYPE_SLOPE double
#define ONDREL_PROPERTY_TYPE_DATE DATE
#define ONDREL_PROPERTY_TYPE_BOOL VARIANT_BOOL

#define ONDREL_DECLARE_PROPERTY_PAIR(Name)                   \
  virtual HRESULT Get##Name(double* first, double* second) = 0; \
  virtual HRESULT Set##Name(double first, double second) = 0;
#define ONDREL_DECLARE_PROPERTY_SCALAR(Type, Name) \
  virtual HRESULT Get##Name(Type* value) = 0;      \
  virtual HRESULT Set##Name(Type value) = 0;
#define ONDREL_DECLARE_PROPERTY_TEXT(Name) ONDREL_DECLARE_PROPERTY_SCALAR(BSTR, Name)
#define ONDREL_DECLARE_PROPERTY_USHORT(Name) ONDREL_DECLARE_PROPERTY_SCALAR(USHORT, Name)
#define ONDREL_DECLARE_PROPERTY_SHORT(Name) ONDREL_DECLARE_PROPERTY_SCALAR(SHORT, Name)
#define ONDREL_DECLARE_PROPERTY_LONG(Name) ONDREL_DECLARE_PROPERTY_SCALAR(LONG, Name)
#define ONDREL_DECLARE_PROPERTY_DOUBLE(Name) ONDREL_DECLARE_PROPERTY_SCALAR(double, Name)
#define ONDREL_DECLARE_PROPERTY_SLOPE(Name) ONDREL_DECLARE_PROPERTY_SCALAR(double, Name)
#define ONDREL_DECLARE_PROPERTY_DATE(Name) ONDREL_DECLARE_PROPERTY_SCALAR(DATE, Name)
#define ONDREL_DECLARE_PROPERTY_BOOL(Name) ONDREL_DECLARE_PROPERTY_SCALAR(VARIANT_BOOL, Name)
#define ONDREL_DECLARE_PROPERTY(Kind, Name) ONDREL_DECLARE_PROPERTY_##Kind(Name)

struct IPatientInfoNW;
struct IStudyInfoNW;
struct ISeriesInfoNW;
struct IImageInfoNW;

struct IPatientInfoNW : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("03F57982-DECE-4C0C-B166-267D23F9DE4C");
  ONDREL_PATIENT_PROPERTIES(ONDREL_DECLARE_PROPERTY)
  // Links a study to this patient (the study's GetPatient answers this object). E_POINTER on null.
  virtual HRESULT AddStudyToPatient(IStudyInfoNW* study) = 0;
  // The patient's studies, a new VT_UNKNOWN vector from index 0 that the caller destroys.
  virtual HRESULT GetPatientStudies(SAFEARRAY** studies) = 0;

 protected:
  ~IPatientInfoNW() = default;
};

struct IStudyInfoNW : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("BEB01095-5CDE-4CB3-A9B8-0505DCE5CE13");
  ONDREL_STUDY_PROPERTIES(ONDREL_DECLARE_PROPERTY)
  // The patient the study belongs to; OLE_E_BLANK, with null, when it has been linked to none.
  virtual HRESULT GetPatient(IPatientInfoNW** patient) = 0;
  virtual HRESULT AddSeriesToStudy(ISeriesInfoNW* series) = 0;
  virtual HRESULT GetStudySeries(SAFEARRAY** series) = 0;

 protected:
  ~IStudyInfoNW() = default;
};

struct ISeriesInfoNW : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("4CF48DBC-DCC3-4C88-A639-70F56566C739");
  ONDREL_SERIES_PROPERTIES(ONDREL_DECLARE_PROPERTY)
  // The study the series belongs to; OLE_E_BLANK, with null, when it has been linked to none.
  virtual HRESULT GetStudy(IStudyInfoNW** study) = 0;
  // Appends an image to the series, in series order. E_POINTER on null.
  virtual HRESULT AddImageToSeries(IImageInfoNW* image) = 0;
  // The images in series order, a new VT_UNKNOWN vector from index 0 (IImageInfoNW pointers) that the
  // caller destroys with SafeArrayDestroy.
  virtual HRESULT GetSeriesImages(SAFEARRAY** images) = 0;
  // A calibrated pixel spacing (horizontal, vertical) for every image of the series.
  virtual HRESULT SetSeriesPixelSpacing(double horizontal, double vertical) = 0;
  // The series an MPR or a MIP derived this one from. A derived series that belongs to no study yet
  // joins the study of its source, so that it is listed and lives with it. E_POINTER for null,
  // E_INVALIDARG for a source of another maker, in no study, or in a study other than this series'.
  // The getters answer OLE_E_BLANK, with null, while no source was set.
  virtual HRESULT SetMprSource(ISeriesInfoNW* source) = 0;
  virtual HRESULT GetMprSource(ISeriesInfoNW** source) = 0;
  virtual HRESULT SetMipSource(ISeriesInfoNW* source) = 0;
  virtual HRESULT GetMipSource(ISeriesInfoNW** source) = 0;

 protected:
  ~ISeriesInfoNW() = default;
};

struct IImageInfoNW : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("078FE3F2-5A13-4EB1-9583-C3E1000B0213");
  ONDREL_IMAGE_PROPERTIES(ONDREL_DECLARE_PROPERTY)
  // The series the image belongs to; OLE_E_BLANK, with null, when it has been added to none.
  virtual HRESULT GetSeries(ISeriesInfoNW** series) = 0;
  // Whether the image is tagged in a window (non-zero) or not (0, also for a window never set).
  virtual HRESULT GetTaggedState(LONG window, LONG* state) = 0;
  virtual HRESULT SetTaggedState(LONG window, LONG state) = 0;
  // ImagePosition and ImageOrientation read as numbers: S_OK when the text holds 3 (6) numbers
  // separated by backslashes, S_FALSE (values 0) when the text is missing or holds fewer.
  virtual HRESULT GetImagePositionValues(double* x, double* y, double* z) = 0;
  virtual HRESULT GetImageOrientationValues(double* values6) = 0;

 protected:
  ~IImageInfoNW() = default;
};

struct IDicomDirPatient;
struct IDicomDirStudy;
struct IDicomDirSeries;
struct IDicomDirImage;

struct IDicomDirPatient : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("B00DD49D-4119-4DF0-870D-B83FD9717A2B");
  ONDREL_PATIENT_PROPERTIES(ONDREL_DECLARE_PROPERTY)
  virtual HRESULT AddStudyToPatient(IDicomDirStudy* study) = 0;
  // The children, in the order they were added, as the workstation's objects give theirs.
  virtual HRESULT GetPatientStudies(SAFEARRAY** studies) = 0;

 protected:
  ~IDicomDirPatient() = default;
};

struct IDicomDirStudy : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("325BB4C0-71BD-425B-9F35-013EDCFE0DF7");
  ONDREL_DICOMDIR_STUDY_PROPERTIES(ONDREL_DECLARE_PROPERTY)
  virtual HRESULT GetPatient(IDicomDirPatient** patient) = 0;
  virtual HRESULT AddSeriesToStudy(IDicomDirSeries* series) = 0;
  virtual HRESULT GetStudySeries(SAFEARRAY** series) = 0;

 protected:
  ~IDicomDirStudy() = default;
};

struct IDicomDirSeries : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("B97B2734-4DD3-4609-B467-00D695AA54BB");
  ONDREL_DICOMDIR_SERIES_PROPERTIES(ONDREL_DECLARE_PROPERTY)
  virtual HRESULT GetStudy(IDicomDirStudy** study) = 0;
  virtual HRESULT AddImageToSeries(IDicomDirImage* image) = 0;
  virtual HRESULT GetSeriesImages(SAFEARRAY** images) = 0;

 protected:
  ~IDicomDirSeries() = default;
};

struct IDicomDirImage : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("80213404-A348-46DE-A246-2241465ACCD6");
  ONDREL_IMAGE_PROPERTIES(ONDREL_DECLARE_PROPERTY)
  virtual HRESULT GetSeries(IDicomDirSeries** series) = 0;
  virtual HRESULT GetTaggedState(LONG window, LONG* state) = 0;
  virtual HRESULT SetTaggedState(LONG window, LONG state) = 0;

 protected:
  ~IDicomDirImage() = default;
};

inline constexpr CLSID CLSID_PatientInfoNW = MakeGuid("B356902E-097C-452C-AC5F-8B4BCC1F7C1C");
inline constexpr CLSID CLSID_StudyInfoNW = MakeGuid("3E741A85-EF55-47BD-A2E7-BD0A6015813E");
inline constexpr CLSID CLSID_SeriesInfoNW = MakeGuid("8D24DF18-2431-4776-8A81-0D808AFB56CF");
inline constexpr CLSID CLSID_ImageInfoNW = MakeGuid("DF3A1FC6-97E3-4845-A6FA-3486E21AD755");
inline constexpr CLSID CLSID_DicomDirPatient = MakeGuid("443916FE-D2CF-43BA-A516-0EE052F1253D");
inline constexpr CLSID CLSID_DicomDirStudy = MakeGuid("B1C044B5-6FBC-4689-9A0C-FAF106E68945");
inline constexpr CLSID CLSID_DicomDirSeries = MakeGuid("949D4C6E-DA5D-47E5-B4CC-76ECAC463FCE");
inline constexpr CLSID CLSID_DicomDirImage = MakeGuid("A3A408FB-C540-4E94-A22D-D8D9B4E51963");

// The value a property getter answers for "not available".
inline constexpr HRESULT kPropertyNotAvailable = S_FALSE;
// A missing link (an image added to no series, ...).
inline constexpr HRESULT OLE_E_BLANK = MakeHResult(0x80040007);

// Adds the workstation's classes to the class table: the eight information classes (program
// identifiers "Ondrel.PatientInfoNW", ...), the two of ondrel/workstation_config.h and the Store of
// ondrel/store.h; or removes them. Registering twice is harmless. Returns the first failure of the
// class table.
HRESULT RegisterWorkstationClasses();
HRESULT UnregisterWorkstationClasses();
