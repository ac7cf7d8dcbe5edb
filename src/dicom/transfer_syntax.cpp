#include "dicom/transfer_syntax.h"

#include "foundation/text_utils.h"

namespace DicomEngine {

TransferSyntax& TransferSyntax::Instance() {
  static TransferSyntax* const table = new TransferSyntax();  // lives to the end of the process
  return *table;
}

TransferSyntax::TransferSyntax() {
  constexpr SyntaxRecord kImplicitLittle{kLittleEndian, kImplicitVR};
  constexpr SyntaxRecord kExplicitLittle{kLittleEndian, kExplicitVR};
  constexpr SyntaxRecord kExplicitBig{kBigEndian, kExplicitVR};
  syntaxes_.emplace(kImplicitVRLittleEndianUid, kImplicitLittle);
  syntaxes_.emplace(kExplicitVRLittleEndianUid, kExplicitLittle);
  syntaxes_.emplace(kExplicitVRBigEndianUid, kExplicitBig);
  syntaxes_.emplace("1.2.840.10008.1.2.5", kExplicitLittle);
  // The JPEG family, baseline to lossless.
  for (int number = 50; number <= 66; ++number)
    syntaxes_.emplace("1.2.840.10008.1.2.4." + std::to_string(number), kExplicitLittle);
  syntaxes_.emplace("1.2.840.10008.1.2.4.70", kExplicitLittle);
  // JPEG 2000, lossless only and lossy.
  syntaxes_.emplace("1.2.840.10008.1.2.4.90", kExplicitLittle);
  syntaxes_.emplace("1.2.840.10008.1.2.4.91", kExplicitLittle);
}

TransferSyntax::~TransferSyntax() = default;

const SyntaxRecord* TransferSyntax::Find(const std::string& uid) const {
  if (uid.empty()) return nullptr;
  std::string key = uid;
  Trim(key);
  const auto found = syntaxes_.find(key);
  return found != syntaxes_.end() ? &found->second : nullptr;
}

std::string TransferSyntax::GetUid(const SyntaxRecord& record) {
  if (record.byteOrder == kBigEndian) return kExplicitVRBigEndianUid;
  if (record.vrKind == kExplicitVR) return kExplicitVRLittleEndianUid;
  return kImplicitVRLittleEndianUid;
}

}  // namespace DicomEngine
