// Transfer syntaxes: how the elements of a data set are encoded, by transfer syntax UID.
//
// A SyntaxRecord says whether values are stored little- or big-endian and whether each element carries
// its VR code (explicit VR) or leaves it to the dictionary (implicit VR). TransferSyntax is the
// process-wide table from the UIDs the engine knows to their records. The byte order is recorded only:
// the engine's readers and writers always work little-endian, so a big-endian syntax changes nothing
// but the UID that GetUid reports.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace DicomEngine {

// Values of SyntaxRecord::byteOrder.
inline constexpr std::uint32_t kByteOrderUnset = 0;
inline constexpr std::uint32_t kLittleEndian = 1;
inline constexpr std::uint32_t kBigEndian = 2;
// Values of SyntaxRecord::vrKind.
inline constexpr std::uint32_t kVRKindUnset = 0;
inline constexpr std::uint32_t kImplicitVR = 1;
inline constexpr std::uint32_t kExplicitVR = 2;

// The three plain syntaxes, the only ones GetUid reports.
inline constexpr char kImplicitVRLittleEndianUid[] = "1.2.840.10008.1.2";
inline constexpr char kExplicitVRLittleEndianUid[] = "1.2.840.10008.1.2.1";
inline constexpr char kExplicitVRBigEndianUid[] = "1.2.840.10008.1.2.2";

// How elements are encoded. Both fields are 0 (unset) until a syntax is known. Note that callers test
// "implicit" as vrKind == kImplicitVR and "explicit" as vrKind == kExplicitVR, so an unset record is
// neither, and which way it falls depends on the test.
struct SyntaxRecord {
  std::uint32_t byteOrder = kByteOrderUnset;
  std::uint32_t vrKind = kVRKindUnset;

  friend bool operator==(const SyntaxRecord&, const SyntaxRecord&) = default;
};

class TransferSyntax {
 public:
  // The process-wide table, built on first use and kept to the end of the process.
  static TransferSyntax& Instance();

  // Builds the table of the 24 syntaxes the engine knows: implicit VR little-endian, explicit VR
  // little- and big-endian, RLE Lossless (1.2.840.10008.1.2.5), and the
  // compressed syntaxes 1.2.840.10008.1.2.4.50 to .66, .70, .90 and .91, all explicit little-endian.
  TransferSyntax();
  virtual ~TransferSyntax();
  TransferSyntax(const TransferSyntax&) = delete;
  TransferSyntax& operator=(const TransferSyntax&) = delete;

  // The record of a UID, after removing blanks at both ends (a UID value read from a file may carry a
  // padding blank). Null for an empty argument and for a UID that is not in the table; an unknown UID
  // is no failure. The record lives as long as the table.
  const SyntaxRecord* Find(const std::string& uid) const;

  // The UID of a plain syntax for a record: byte order kBigEndian gives explicit VR big-endian;
  // otherwise vrKind kExplicitVR gives explicit VR little-endian; anything else (an unset record
  // included) gives implicit VR little-endian.
  static std::string GetUid(const SyntaxRecord& record);

  // The number of UIDs in the table.
  std::size_t Size() const { return syntaxes_.size(); }

 private:
  std::map<std::string, SyntaxRecord> syntaxes_;
};

}  // namespace DicomEngine
