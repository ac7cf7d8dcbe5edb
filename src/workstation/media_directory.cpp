#include "workstation/media_directory.h"

#include <array>
#include <filesystem>
#include <set>
#include <unordered_map>

#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "storage/dicom_to_sql.h"

namespace ondrel::workstation {
namespace {

using DicomEngine::VRContainer;
using platform::BStr;
using platform::ComPtr;

constexpr std::uint16_t kDirectoryGroup = 0x0004;
constexpr std::uint16_t kRootOffset = 0x1200;
constexpr std::uint16_t kRecordSequence = 0x1220;
constexpr std::uint16_t kNextOffset = 0x1400;
constexpr std::uint16_t kLowerOffset = 0x1420;
constexpr std::uint16_t kRecordType = 0x1430;
constexpr std::uint16_t kFileId = 0x1500;
constexpr std::uint16_t kSopClassInFile = 0x1510;
constexpr std::uint16_t kSopInstanceInFile = 0x1511;
constexpr std::uint16_t kSyntaxInFile = 0x1512;

// The levels of the hierarchy, from the root down.
constexpr std::array<const char*, 4> kLevels = {"PATIENT", "STUDY", "SERIES", "IMAGE"};
constexpr int kImageLevel = 3;

struct Record {
  const DicomEngine::VRSequenceItem* item;
  std::uint32_t offset;  // in the file
  std::string type;
  std::uint32_t next;
  std::uint32_t lower;
};

struct Node {
  const Record* record;
  std::vector<Node> children;
};

// A link's value; 0, which ends a chain, when it is missing or not a UL.
std::uint32_t LinkOf(const VRContainer& data, std::uint16_t element) {
  const auto* value = dynamic_cast<const DicomEngine::UnsignedIntegerVR*>(data.Find(kDirectoryGroup, element));
  return value != nullptr && !value->Values().empty() ? value->Values().front() : 0;
}

int LevelOf(const std::string& type) {
  for (std::size_t level = 0; level < kLevels.size(); ++level)
    if (type == kLevels[level]) return static_cast<int>(level);
  return -1;
}

class MediaReader {
 public:
  MediaReader(const VRContainer& data, std::uint32_t startOffset, const std::string& path)
      : data_(data), path_(path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    folder_ = folder.empty() ? "." : folder.string();
    const auto* sequence =
        dynamic_cast<const DicomEngine::VRSequence*>(data.Find(kDirectoryGroup, kRecordSequence));
    if (sequence == nullptr) THROW_MY_EXCEPTION("The DICOMDIR holds no Directory Record Sequence (0004,1220).");
    for (const auto& element : sequence->Elements()) {
      const auto* item = dynamic_cast<const DicomEngine::VRSequenceItem*>(element.get());
      if (item == nullptr || item->Element() != DicomEngine::kItemElement || !item->DataOffset()) continue;
      records_.push_back({item, startOffset + *item->DataOffset(), TrimmedText(*item, kDirectoryGroup, kRecordType),
                          LinkOf(*item, kNextOffset), LinkOf(*item, kLowerOffset)});
    }
    for (const Record& record : records_) byOffset_.emplace(record.offset, &record);
  }

  MediaDirectory Read() {
    const std::uint32_t root = LinkOf(data_, kRootOffset);
    const std::vector<Node> tree = root != 0 ? Linked(root, 0) : InItemOrder();
    for (const Node& node : tree) {
      ComPtr<IDicomDirPatient> patient;
      if (!Fill(node, 0, [&] { DicomDirToSQL::FillDirPatient(*node.record->item, patient.GetAddressOf()); })) continue;
      result_.patients.push_back(patient);
      for (const Node& studyNode : node.children) {
        ComPtr<IDicomDirStudy> study;
        if (!Fill(studyNode, 1, [&] { DicomDirToSQL::FillDirStudy(*studyNode.record->item, study.GetAddressOf()); }))
          continue;
        patient->AddStudyToPatient(study.Get());
        for (const Node& seriesNode : studyNode.children) AddSeries(seriesNode, study.Get());
      }
    }
    return std::move(result_);
  }

 private:
  void AddSeries(const Node& node, IDicomDirStudy* study) {
    ComPtr<IDicomDirSeries> series;
    if (!Fill(node, 2, [&] { DicomDirToSQL::FillDirSeries(*node.record->item, series.GetAddressOf()); })) return;
    study->AddSeriesToStudy(series.Get());
    for (const Node& imageNode : node.children) {
      const Record& record = *imageNode.record;
      ComPtr<IDicomDirImage> image;
      const std::optional<std::string> file = FileOf(record);
      if (!file || !Fill(imageNode, kImageLevel, [&] { MakeImage(record, *file, image); })) continue;
      series->AddImageToSeries(image.Get());
    }
  }

  void MakeImage(const Record& record, const std::string& file, ComPtr<IDicomDirImage>& image) {
    DicomDirToSQL::FillDirImage(*record.item, image.GetAddressOf(), file, false);
    const auto copy = [&](std::uint16_t element, HRESULT (IDicomDirImage::*setter)(BSTR)) {
      const std::string text = TrimmedText(*record.item, kDirectoryGroup, element);
      if (!text.empty()) (image.Get()->*setter)(BStr(ToWide(text)).Get());
    };
    copy(kSopInstanceInFile, &IDicomDirImage::SetSopInstanceUid);
    copy(kSopClassInFile, &IDicomDirImage::SetSopClassUid);
    copy(kSyntaxInFile, &IDicomDirImage::SetTransferSyntaxUid);
    image->SetNeedsDicomData(VARIANT_TRUE);
  }

  // Runs a fill for a record of `level`; false, with the reason kept, when the record is of another
  // type or its values are refused.
  template <class Action>
  bool Fill(const Node& node, int level, Action fill) {
    if (node.record->type != kLevels[level]) {
      PassOver(*node.record, std::string("stands where a ") + kLevels[level] + " record belongs.");
      return false;
    }
    try {
      fill();
    } catch (const MyException& failure) {
      PassOver(*node.record, "is refused: " + ToNarrow(ReportText(failure)));
      return false;
    }
    return true;
  }

  // The file an image record refers to, under the DICOMDIR's folder; none, with the reason kept, when
  // its file ID is missing or would leave that folder.
  std::optional<std::string> FileOf(const Record& record) {
    const std::string id = TrimmedText(*record.item, kDirectoryGroup, kFileId);
    if (id.empty()) {
      PassOver(record, "names no file (Referenced File ID).");
      return std::nullopt;
    }
    std::string file = folder_;
    std::size_t start = 0;
    while (start <= id.size()) {
      const std::size_t end = std::min(id.find('\\', start), id.size());
      std::string component = id.substr(start, end - start);
      Trim(component);
      if (component.empty() || component == "." || component == ".." ||
          component.find_first_of(std::string("/\0", 2)) != std::string::npos) {
        PassOver(record, "has the file ID \"" + id + "\", which would leave the DICOMDIR's folder.");
        return std::nullopt;
      }
      file += "/" + component;
      start = end + 1;
    }
    return file;
  }

  // The records of the chain that starts at `offset`, each with the chains below it. Every record is
  // taken at most once, so a link back into records already read (a loop) ends its chain, and the walk
  // ends after as many steps as there are records.
  std::vector<Node> Linked(std::uint32_t offset, int level) {
    std::vector<Node> chain;
    while (offset != 0) {
      const auto found = byOffset_.find(offset);
      if (found == byOffset_.end()) {
        PassOverLink(offset, "points at no directory record; the records from there on are passed over.");
        break;
      }
      if (!taken_.insert(offset).second) {
        PassOverLink(offset, "leads back to a record already read (a loop); it is followed no further.");
        break;
      }
      Node node{found->second, {}};
      // An image's lower link would lead to records no level here holds.
      if (level < kImageLevel) node.children = Linked(found->second->lower, level + 1);
      chain.push_back(std::move(node));
      offset = found->second->next;
    }
    return chain;
  }

  std::vector<Node> InItemOrder() {
    std::vector<Node> roots;
    std::array<Node*, kLevels.size()> open{};
    for (const Record& record : records_) {
      const int level = LevelOf(record.type);
      if (level < 0 || (level > 0 && open[level - 1] == nullptr)) {
        PassOver(record, level < 0 ? "is not part of the patient hierarchy."
                                   : std::string("stands before any ") + kLevels[level - 1] + " record.");
        continue;
      }
      std::vector<Node>& siblings = level == 0 ? roots : open[level - 1]->children;
      siblings.push_back({&record, {}});
      open[level] = &siblings.back();
      for (std::size_t below = level + 1; below < open.size(); ++below) open[below] = nullptr;
    }
    return roots;
  }

  void PassOver(const Record& record, const std::string& why) {
    result_.passedOver.push_back(
        {path_, "The " + (record.type.empty() ? std::string("untyped") : record.type) + " directory record at byte " +
                    std::to_string(record.offset) + " " + why});
  }
  void PassOverLink(std::uint32_t offset, const std::string& why) {
    result_.passedOver.push_back({path_, "A directory record link to byte " + std::to_string(offset) + " " + why});
  }

  const VRContainer& data_;
  std::string path_;
  std::string folder_;
  std::vector<Record> records_;
  std::unordered_map<std::uint32_t, const Record*> byOffset_;
  std::set<std::uint32_t> taken_;
  MediaDirectory result_;
};

}  // namespace

MediaDirectory ReadMediaDirectory(const VRContainer& data, std::uint32_t startOffset, const std::string& path) {
  return MediaReader(data, startOffset, path).Read();
}

std::string TrimmedText(const VRContainer& data, std::uint16_t group, std::uint16_t element) {
  const auto* value = dynamic_cast<const DicomEngine::VRString*>(data.Find(group, element));
  if (value == nullptr) return {};
  std::string text = value->Value();
  while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.pop_back();
  return text;
}

}  // namespace ondrel::workstation
