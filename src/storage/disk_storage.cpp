#include "storage/disk_storage.h"

#include <cstring>
#include <memory>

#include "dicom/file_writer.h"
#include "dicom/vr.h"
#include "foundation/exceptions.h"
#include "foundation/settings_helper.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/system.h"
#include "storage/dicom_to_sql.h"

using DicomEngine::DicomData;

namespace {

constexpr std::size_t kUidBufferSize = 64;

void CopySopInstanceUid(const DicomData& data, char* out, std::size_t capacity) {
  if (out == nullptr || capacity == 0) return;
  const auto* uid = dynamic_cast<const DicomEngine::VRUniqueIdentifier*>(data.Find(0x0008, 0x0018));
  const std::string text = uid != nullptr ? uid->Value() : std::string();
  const std::size_t length = std::min(text.size(), capacity - 1);
  std::memcpy(out, text.data(), length);
  out[length] = '\0';
}

void WriteFile(DicomData& data, const std::string& root, const std::string& path,
               const DicomEngine::SyntaxRecord& transferSyntax) {
  FolderGenerator::CreateFolders(root, path);
  DicomEngine::FileWriter writer(DicomEngine::TransferSyntax::GetUid(transferSyntax));
  writer.Write(data, transferSyntax, ToWide(path), std::string());
}

void CreateFolder(const std::string& folder, const char* level) {
  if (CreateDirectoryA(folder.c_str(), nullptr)) return;
  const DWORD error = GetLastError();
  if (error != ERROR_ALREADY_EXISTS)
    THROW_MY_EXCEPTION_F(256, "Failed to create the %s directory, Last error is: %x\r\n", level,
                         static_cast<unsigned>(error));
}

// The prefix of `path` up to the first '/' at or after `from`, and where the next search starts: the
// whole path and its beginning when there is none.
std::string PrefixTo(const std::string& path, std::size_t from, std::size_t& next) {
  const std::size_t slash = from < path.size() ? path.find('/', from) : std::string::npos;
  if (slash == std::string::npos) {
    next = 0;
    return path;
  }
  next = slash + 1;
  return path.substr(0, slash);
}

}  // namespace

void DiskStorage::StoreDicomData(DicomData& data, char* outSopInstanceUid, const char* sourcePath, bool storeFile,
                                 const DicomEngine::SyntaxRecord& transferSyntax, const char*) {
  const std::string root = SettingsHelper::Instance().Get("DICOMfiles");
  CompleteTransferSyntax(data, transferSyntax);
  std::string path = !storeFile && sourcePath != nullptr ? sourcePath : std::string();
  DicomToSQL::StoreFromDicomData(data, root, path, storeFile);
  CopySopInstanceUid(data, outSopInstanceUid, kUidBufferSize);
  if (storeFile) WriteFile(data, root, path, transferSyntax);
}

void DiskStorage::StoreDicomData(IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series,
                                 IImageInfoNW* image, DicomData& data, char* outSopInstanceUid,
                                 const char* sourcePath, bool storeFile,
                                 const DicomEngine::SyntaxRecord& transferSyntax, const char*) {
  const std::string root = SettingsHelper::Instance().Get("DICOMfiles");
  CompleteTransferSyntax(data, transferSyntax);
  std::string path = !storeFile && sourcePath != nullptr ? sourcePath : std::string();
  DicomToSQL::StoreImage(patient, study, series, image, root, path, storeFile);
  if (outSopInstanceUid != nullptr) CopySopInstanceUid(data, outSopInstanceUid, std::strlen(outSopInstanceUid) + 1);
  if (storeFile) WriteFile(data, root, path, transferSyntax);
}

void DiskStorage::CompleteTransferSyntax(DicomData& data, const DicomEngine::SyntaxRecord& transferSyntax) {
  auto* uid = dynamic_cast<DicomEngine::VRUniqueIdentifier*>(data.Find(0x0002, 0x0010));
  if (uid != nullptr && !uid->Value().empty()) return;
  const std::string text = DicomEngine::TransferSyntax::GetUid(transferSyntax);
  if (uid != nullptr) {
    uid->SetValue(text);
    return;
  }
  auto made = std::make_unique<DicomEngine::VRUniqueIdentifier>("UI", 0x0002, 0x0010, 0, std::string());
  made->SetValue(text);
  // In tag order: the writer writes elements as they stand, and the meta group must come first.
  data.AddSorted(std::move(made));
}

void FolderGenerator::CreateFolders(const std::string& root, const std::string& fullPath) {
  CreateFolder(root, "root");
  std::size_t next = 0;
  CreateFolder(PrefixTo(fullPath, root.size() + 1, next), "study");
  CreateFolder(PrefixTo(fullPath, next, next), "series");
}
