#include "dicom/file_writer.h"

#include <array>
#include <cstdio>
#include <memory>
#include <optional>

#include "foundation/exceptions.h"
#include "foundation/file_utils.h"
#include "foundation/text_utils.h"

namespace DicomEngine {
namespace {

constexpr std::uint16_t kMetaGroup = 0x0002;
constexpr std::uint16_t kTransferSyntaxElement = 0x0010;
constexpr std::size_t kPreambleSize = 128;

constexpr SyntaxRecord kExplicitLittleEndian{kLittleEndian, kExplicitVR};
constexpr SyntaxRecord kImplicitLittleEndian{kLittleEndian, kImplicitVR};

}  // namespace

FileWriter::FileWriter(const std::string& transferSyntaxUid) {
  if (const SyntaxRecord* record = TransferSyntax::Instance().Find(transferSyntaxUid)) SetSyntax(*record);
}

FileWriter::~FileWriter() = default;

SyntaxRecord FileWriter::GetWriteSyntax(std::uint16_t group) const {
  if (IsCommand() || group == kItemGroup) return kImplicitLittleEndian;
  if (group < 3) return kExplicitLittleEndian;
  return Syntax();
}

void FileWriter::Serialize(VRContainer& data, const SyntaxRecord& syntax, const std::string& uid) {
  if (dynamic_cast<const DicomCommand*>(&data) != nullptr) SetCommand(true);

  VR* transferSyntax = data.Find(kMetaGroup, kTransferSyntaxElement);
  if (transferSyntax == nullptr) {
    std::string text = uid.empty() ? TransferSyntax::GetUid(syntax) : uid;
    const auto length = static_cast<std::uint32_t>(text.size());
    data.AddSorted(
        std::make_unique<VRUniqueIdentifier>("UI", kMetaGroup, kTransferSyntaxElement, length, std::move(text)));
  } else if (!uid.empty()) {
    // An element that isn't text (a damaged file's, say) can't take the UID and is written as it is.
    if (auto* text = dynamic_cast<VRString*>(transferSyntax)) text->SetValue(uid);
  }

  // Found again: AddSorted may have just made it.
  const auto* uidElement = dynamic_cast<const VRString*>(data.Find(kMetaGroup, kTransferSyntaxElement));
  const SyntaxRecord* record = uidElement != nullptr ? TransferSyntax::Instance().Find(uidElement->Value()) : nullptr;
  SetSyntax(record != nullptr ? *record : kExplicitLittleEndian);

  // Room for every value up front; the element headers grow the block as they go.
  ResetBlock(data.GetLength());
  data.WriteValue(*this);
}

void FileWriter::Write(VRContainer& data, const SyntaxRecord& syntax, const std::u16string& fileName,
                       const std::string& uid) {
  if (fileName.empty()) THROW_MY_EXCEPTION("The file name passed to the File Writer is empty.");
  Serialize(data, syntax, uid);

  // A name the ANSI code page can't hold would name another file, so it is not created at all.
  const std::optional<std::string> name = ToNarrowExact(fileName);
  const std::unique_ptr<std::FILE, void (*)(std::FILE*)> file(name ? CreateTargetFile(*name) : nullptr, &CloseFile);
  if (!file)
    THROW_MY_EXCEPTION_F(1024, "The Dicom File Writer failed to create the %s DICOM file.",
                         ToNarrow(fileName).c_str());

  std::array<std::uint8_t, kPreambleSize + 4> header{};
  header[kPreambleSize] = 'D';
  header[kPreambleSize + 1] = 'I';
  header[kPreambleSize + 2] = 'C';
  header[kPreambleSize + 3] = 'M';
  WriteBuffer(file.get(), header.data(), header.size());
  WriteBuffer(file.get(), Data(), Cursor());
}

}  // namespace DicomEngine
