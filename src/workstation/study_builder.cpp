#include "ondrel/study_builder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <map>
#include <system_error>

#include "dicom/file_parser.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "storage/dicom_to_sql.h"
#include "workstation/media_directory.h"
#include "workstation/store_catalog.h"

namespace ondrel {
namespace {

using platform::BStr;
using platform::ComPtr;

constexpr const char* kMediaDirectoryClass = "1.2.840.10008.1.3.10";
// Direction cosines closer than this count as one orientation.
constexpr double kSameOrientation = 1e-4;

using workstation::TrimmedText;

struct PendingImage {
  ComPtr<IImageInfoNW> image;
  std::string path;
  LONG instanceNumber = 0;
  USHORT frame = 0;
  bool hasGeometry = false;
  std::array<double, 3> position{};
  std::array<double, 6> orientation{};
};

// The facts the order of a series rests on, read from the image object.
PendingImage Pending(PendingImage pending) {
  pending.image->GetInstanceNumber(&pending.instanceNumber);
  pending.hasGeometry =
      pending.image->GetImagePositionValues(&pending.position[0], &pending.position[1], &pending.position[2]) == S_OK &&
      pending.image->GetImageOrientationValues(pending.orientation.data()) == S_OK;
  return pending;
}

struct PendingSeries {
  ComPtr<ISeriesInfoNW> series;
  std::vector<PendingImage> images;
};

// Distance along the slice normal of the series' first image.
double DistanceAlongNormal(const PendingImage& image, const std::array<double, 6>& orientation) {
  const std::array<double, 3> normal = {orientation[1] * orientation[5] - orientation[2] * orientation[4],
                                        orientation[2] * orientation[3] - orientation[0] * orientation[5],
                                        orientation[0] * orientation[4] - orientation[1] * orientation[3]};
  return image.position[0] * normal[0] + image.position[1] * normal[1] + image.position[2] * normal[2];
}

void OrderSeries(PendingSeries& pending) {
  auto& images = pending.images;
  // Positions order a stack only when its images are parallel: a localiser series of crossing
  // planes goes by instance number.
  const bool byPosition =
      !images.empty() && std::all_of(images.begin(), images.end(), [&](const PendingImage& image) {
        if (!image.hasGeometry) return false;
        for (std::size_t i = 0; i < image.orientation.size(); ++i)
          if (std::abs(image.orientation[i] - images.front().orientation[i]) > kSameOrientation) return false;
        return true;
      });
  const auto tieBreak = [](const PendingImage& a, const PendingImage& b) {
    if (a.instanceNumber != b.instanceNumber) return a.instanceNumber < b.instanceNumber;
    if (a.frame != b.frame) return a.frame < b.frame;
    return a.path < b.path;
  };
  if (byPosition) {
    const std::array<double, 6> orientation = images.front().orientation;
    std::stable_sort(images.begin(), images.end(), [&](const PendingImage& a, const PendingImage& b) {
      const double da = DistanceAlongNormal(a, orientation);
      const double db = DistanceAlongNormal(b, orientation);
      return da != db ? da < db : tieBreak(a, b);
    });
  } else {
    std::stable_sort(images.begin(), images.end(), tieBreak);
  }
  for (const PendingImage& image : images) pending.series->AddImageToSeries(image.image.Get());
}

class Builder {
 public:
  // `named`: the path was given itself, not found in a folder.
  void Read(const std::string& path, bool named) {
    DicomEngine::DicomData data(false);
    DicomEngine::FileParser parser;
    try {
      if (!parser.Open(ToWide(path))) {
        graph_.skipped.push_back({path, "It's not a DICOM file or a well formatted DICOM file."});
        return;
      }
      // The whole data set: a parse up to the pixels builds only the syntax and the pixel data.
      parser.Parse(&data);
    } catch (const MyException& failure) {
      graph_.skipped.push_back({path, ToNarrow(ReportText(failure))});
      return;
    }
    if (TrimmedText(data, 0x0002, 0x0002) == kMediaDirectoryClass ||
        TrimmedText(data, 0x0008, 0x0016) == kMediaDirectoryClass) {
      if (named)
        ReadMedia(data, parser.StartOffset(), path);
      else
        graph_.skipped.push_back({path, "A media directory (DICOMDIR): name it to read its records."});
      return;
    }
    if (data.Find(DicomEngine::kPixelDataGroup, DicomEngine::kPixelDataElement) == nullptr) {
      graph_.skipped.push_back({path, "The file holds no pixel data."});
      return;
    }
    try {
      AddImages(data, path);
    } catch (const MyException& failure) {
      graph_.skipped.push_back({path, ToNarrow(ReportText(failure))});
    }
  }

  StudyGraph Finish() {
    for (auto& [uid, pending] : series_) OrderSeries(pending);
    return std::move(graph_);
  }

 private:
  void ReadMedia(const DicomEngine::DicomData& data, std::uint32_t startOffset, const std::string& path) {
    try {
      workstation::MediaDirectory media = workstation::ReadMediaDirectory(data, startOffset, path);
      graph_.mediaPatients.insert(graph_.mediaPatients.end(), media.patients.begin(), media.patients.end());
      graph_.skipped.insert(graph_.skipped.end(), media.passedOver.begin(), media.passedOver.end());
    } catch (const MyException& failure) {
      graph_.skipped.push_back({path, ToNarrow(ReportText(failure))});
    }
  }

  void AddImages(const DicomEngine::DicomData& data, const std::string& path) {
    const int frames = std::max(1, std::atoi(TrimmedText(data, 0x0028, 0x0008).c_str()));
    PendingSeries& series = SeriesFor(data);
    for (int frame = 0; frame < frames; ++frame) {
      PendingImage pending;
      DicomToSQL::FillImage(data, pending.image.GetAddressOf(), path, false);
      pending.image->SetNeedsDicomData(VARIANT_TRUE);
      pending.frame = static_cast<USHORT>(frame);
      pending.image->SetFrameIndex(pending.frame);
      pending.path = path;
      series.images.push_back(Pending(std::move(pending)));
    }
  }

  PendingSeries& SeriesFor(const DicomEngine::DicomData& data) {
    const std::string uid = TrimmedText(data, 0x0020, 0x000E);
    auto found = series_.find(uid);
    if (found != series_.end()) return found->second;
    PendingSeries pending;
    DicomToSQL::FillSeries(data, pending.series.GetAddressOf());
    StudyFor(data)->AddSeriesToStudy(pending.series.Get());
    graph_.series.push_back(pending.series);
    return series_.emplace(uid, std::move(pending)).first->second;
  }

  IStudyInfoNW* StudyFor(const DicomEngine::DicomData& data) {
    const std::string uid = TrimmedText(data, 0x0020, 0x000D);
    auto found = studies_.find(uid);
    if (found != studies_.end()) return found->second.Get();
    ComPtr<IStudyInfoNW> study;
    DicomToSQL::FillStudy(data, study.GetAddressOf());
    PatientFor(data)->AddStudyToPatient(study.Get());
    return studies_.emplace(uid, study).first->second.Get();
  }

  IPatientInfoNW* PatientFor(const DicomEngine::DicomData& data) {
    const std::string key = TrimmedText(data, 0x0010, 0x0020) + '\\' + TrimmedText(data, 0x0010, 0x0010);
    auto found = patients_.find(key);
    if (found != patients_.end()) return found->second.Get();
    ComPtr<IPatientInfoNW> patient;
    DicomToSQL::FillPatient(data, patient.GetAddressOf());
    graph_.patients.push_back(patient);
    return patients_.emplace(key, patient).first->second.Get();
  }

  StudyGraph graph_;
  std::map<std::string, PendingSeries> series_;
  std::map<std::string, ComPtr<IStudyInfoNW>> studies_;
  std::map<std::string, ComPtr<IPatientInfoNW>> patients_;
};

}  // namespace

std::vector<std::string> ListFiles(const std::vector<std::string>& paths, std::vector<SkippedFile>& unreadable) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
      files.push_back(path);
      continue;
    }
    std::vector<std::string> found;
    for (auto it = std::filesystem::recursive_directory_iterator(path, error);
         !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error))
      if (it->is_regular_file(error)) found.push_back(it->path().string());
    if (error) unreadable.push_back({path, "The folder cannot be read: " + error.message()});
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

StudyGraph BuildStudies(const std::vector<std::string>& paths) {
  Builder builder;
  std::vector<SkippedFile> unreadable;
  for (const std::string& path : paths) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
      builder.Read(path, true);
      continue;
    }
    for (const std::string& file : ListFiles({path}, unreadable)) builder.Read(file, false);
  }
  StudyGraph graph = builder.Finish();
  graph.skipped.insert(graph.skipped.begin(), unreadable.begin(), unreadable.end());
  return graph;
}

namespace {

// The stored objects as a study graph: each image with NeedsDicomData true, each series ordered.
StudyGraph GraphOf(workstation::StoredObjects stored) {
  StudyGraph graph;
  graph.patients = std::move(stored.patients);
  for (auto& [series, images] : stored.series) {
    PendingSeries pending{series, {}};
    for (auto& image : images) {
      image->SetNeedsDicomData(VARIANT_TRUE);
      BStr file;
      image->GetFileName(file.Out());
      PendingImage made;
      made.image = image;
      made.path = ToNarrow(file.View());
      pending.images.push_back(Pending(std::move(made)));
    }
    OrderSeries(pending);
    graph.series.push_back(series);
  }
  return graph;
}

std::unique_ptr<workstation::Database> OpenWithSchema(const std::string& connection) {
  std::unique_ptr<workstation::Database> database = workstation::OpenDatabase(connection);
  workstation::EnsureSchema(*database);
  return database;
}

}  // namespace

StudyGraph OpenStoredStudies(const std::string& connection) {
  return GraphOf(workstation::ReadStoredObjects(*OpenWithSchema(connection)));
}

StudyGraph OpenStoredImage(const std::string& connection, const std::u16string& sopInstanceUid) {
  return GraphOf(workstation::ReadStoredImage(*OpenWithSchema(connection), sopInstanceUid));
}

}  // namespace ondrel
