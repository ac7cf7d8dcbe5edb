#include "dicom/parser.h"

#include <utility>

#include "foundation/exceptions.h"
#include "foundation/trace.h"

namespace DicomEngine {
namespace {

constexpr std::uint16_t kMetaGroup = 0x0002;
constexpr std::uint16_t kTransferSyntaxElement = 0x0010;
// Groups below this one are read in the header syntax even after the switch.
constexpr std::uint16_t kFirstDataSetGroup = 3;
constexpr int kTraceLevel = 3;

bool IsTransferSyntaxTag(std::uint16_t group, std::uint16_t element) {
  return group == kMetaGroup && element == kTransferSyntaxElement;
}

// The codes whose explicit VR header has 2 reserved bytes and a 4-byte length.
bool HasLongLength(const std::string& code) {
  return code == "OB" || code == "OW" || code == "SQ" || code == "UN" || code == "UT";
}

// Building the description costs as much as the parse itself for large sequences: only when it is
// written.
void TraceParsed(const VR* vr) {
  Trace& trace = Trace::Instance();
  if (!trace.IsOpen() || trace.Level() < kTraceLevel) return;
  if (vr == nullptr) {
    trace.Write(std::string("The parsed VR is NULL."), kTraceLevel);
    return;
  }
  std::string text = "The parsed VR is: ";
  trace.Write(vr->Print(text), kTraceLevel);
}

}  // namespace

Parser::Parser(std::unique_ptr<BufferReader> reader, SyntaxRecord headerSyntax, const DicomDictionary& dictionary)
    : reader_(std::move(reader)), headerSyntax_(headerSyntax), dictionary_(dictionary) {}

Parser::Parser(std::unique_ptr<BufferReader> reader, const Parser& parent)
    : reader_(std::move(reader)),
      headerSyntax_(parent.headerSyntax_),
      dataSetSyntax_(parent.dataSetSyntax_),
      // An item's parser has not seen (0002,0010): it takes the data set syntax if one was found.
      switched_(parent.dataSetSyntax_.byteOrder != 0 && parent.dataSetSyntax_.vrKind != 0),
      dictionary_(parent.dictionary_),
      depth_(parent.depth_ + 1) {}

Parser::~Parser() = default;

void Parser::ParseUpTo(VRContainer* container, std::uint16_t group, std::uint16_t element) {
  // The stop tag lives only for this call, failure or not.
  struct StopTagScope {
    Tag& tag;
    ~StopTagScope() { tag = Tag{}; }
  } scope{stopTag_};
  stopTag_ = Tag{group, element};
  Parse(container);
}

void Parser::Parse(VRContainer* container) {
  if (!reader_) THROW_MY_EXCEPTION("The parser buffer is NULL.");
  try {
    ParseElements(container);
  } catch (const MyException& failure) {
    // The failure's own text stays as it is; the trace says where in the data it happened.
    if (depth_ == 0 && lastElement_)
      Trace::Instance().WriteFormatted(1, "Parser::Parse - stopped in element (%04X,%04X) at byte %u: %s",
                                       lastElement_->group, lastElement_->element, lastElement_->offset,
                                       failure.what());
    throw;
  }
}

void Parser::ParseElements(VRContainer* container) {
  while (reader_->HasBytes(1)) {
    const std::uint32_t start = reader_->Cursor();
    Tag tag;
    tag.group = reader_->ReadUShort();
    tag.element = reader_->ReadUShort();
    if (depth_ == 0) lastElement_ = ElementStart{tag.group, tag.element, start};

    if (tag.group == kItemGroup && tag.element == kItemDelimiterElement) {
      const std::uint32_t length = reader_->ReadULong();
      if (container != nullptr) container->Add(std::make_unique<VRSequenceItem>(tag.element, length), true);
      return;
    }

    const std::string code = ReadCode(tag);
    const std::uint32_t length = ReadLength(tag.group, code);
    std::unique_ptr<VR> value = BuildValue(tag, code, length);
    TraceParsed(value.get());

    const bool isTransferSyntax = IsTransferSyntaxTag(tag.group, tag.element);
    const bool switchNow = isTransferSyntax && !switched_;
    // Taken before the value goes into the container, which may be null and drop it.
    std::string uid;
    if (switchNow) {
      if (const auto* text = dynamic_cast<const VRString*>(value.get())) uid = text->Value();
    }
    if (value != nullptr) {
      if (container != nullptr) container->Add(std::move(value), true);
      if (stopTag_.group != 0 && stopTag_.element != 0 && tag == stopTag_ && !isTransferSyntax) return;
    }
    if (switchNow) {
      // An unknown UID (or a value that isn't text) leaves the data set syntax unset: codes are then
      // read as two letters and lengths as 4 bytes.
      if (const SyntaxRecord* record = TransferSyntax::Instance().Find(uid)) dataSetSyntax_ = *record;
      switched_ = true;
    }
  }
}

const SyntaxRecord& Parser::SyntaxOf(std::uint16_t group) const {
  return !switched_ || group < kFirstDataSetGroup ? headerSyntax_ : dataSetSyntax_;
}

bool Parser::HasStopTag() const { return stopTag_.group != 0 || stopTag_.element != 0; }

bool Parser::IsBuiltWhileSeeking(Tag tag) const {
  return !HasStopTag() || tag == stopTag_ || IsTransferSyntaxTag(tag.group, tag.element);
}

std::string Parser::ReadCode(Tag tag) {
  // "Explicit" here means anything but implicit: an unset syntax reads two letters.
  if (tag.group != kItemGroup && SyntaxOf(tag.group).vrKind != kImplicitVR) {
    std::string code = reader_->ReadString(2);
    return code.empty() ? "UN" : code;
  }
  std::string code;
  if (tag.element == 0)
    code = "UL";
  else if (tag.group < 7 || tag.group % 2 == 0)
    code = dictionary_.GetVR(tag.group, tag.element);
  else
    // Private creators are not tracked, so a private value is kept raw whatever the dictionary says.
    code = "UN";
  if (code == "OW/OB") return "OB";
  if (code == "US or SS") return "US";
  return code.empty() ? "UN" : code;
}

std::uint32_t Parser::ReadLength(std::uint16_t group, const std::string& code) {
  // "Explicit" here means explicit only: an unset syntax reads 4-byte lengths.
  if (SyntaxOf(group).vrKind == kExplicitVR) {
    if (HasLongLength(code)) {
      reader_->Skip(2);
      return reader_->ReadULong();
    }
    return reader_->ReadUShort();
  }
  return reader_->ReadULong();
}

std::unique_ptr<VR> Parser::BuildValue(Tag tag, const std::string& code, std::uint32_t length) {
  // While a stop tag is looked for, what comes before it is passed over without allocating.
  if (length != kUndefinedLength && !IsBuiltWhileSeeking(tag)) {
    reader_->Skip(length);
    return nullptr;
  }
  const ValueKind kind = ValueKindOf(code);
  if (kind == ValueKind::kSequence || (kind == ValueKind::kBinary && length == kUndefinedLength))
    return ReadSequence(tag, code, length);
  return ReadValue(*reader_, code, tag.group, tag.element, length);
}

std::unique_ptr<VR> Parser::ReadSequence(Tag tag, const std::string& code, std::uint32_t length) {
  std::unique_ptr<VRSequence> sequence;
  if (IsBuiltWhileSeeking(tag)) sequence = std::make_unique<VRSequence>(code, tag.group, tag.element, length);
  if (length == 0) return sequence;

  // Encapsulated pixel data: the items are fragments of raw bytes, not data sets.
  const bool binary = code == "OB" || code == "OW";
  std::uint64_t consumed = 0;
  bool done = false;
  while (!done) {
    std::unique_ptr<VR> item = ReadItem(tag, length, binary, consumed, done);
    if (sequence && item) sequence->Add(std::move(item), false);
  }
  return sequence;
}

std::unique_ptr<VR> Parser::ReadItem(Tag sequenceTag, std::uint32_t sequenceLength, bool binary,
                                     std::uint64_t& consumed, bool& done) {
  const bool keep = IsBuiltWhileSeeking(sequenceTag);
  const std::uint32_t start = reader_->Cursor();
  const std::uint16_t group = reader_->ReadUShort();
  const std::uint16_t element = reader_->ReadUShort();
  const std::uint32_t length = reader_->ReadULong();
  consumed += 8;

  if (group == kItemGroup && element == kSequenceDelimiterElement) {
    done = true;
    return std::make_unique<VRSequenceItem>(element, length);
  }
  if (group != kItemGroup || element != kItemElement)
    THROW_MY_EXCEPTION("Invalid tag found where a sequence item was expected.");

  if (sequenceLength != kUndefinedLength) {
    if (length == kUndefinedLength) THROW_MY_EXCEPTION("Defined length sequence contains undefined length item.");
    // Kept as the stored files are measured: the count covers the item headers as well as the items.
    consumed += length;
    done = sequenceLength <= consumed;
  }

  if (binary) {
    if (!keep) {
      reader_->Skip(length);
      return nullptr;
    }
    return ReadBinary(*reader_, "", kItemGroup, kItemElement, length);
  }
  if (length != kUndefinedLength && !keep) {
    reader_->Skip(length);
    return nullptr;
  }

  if (depth_ >= kMaxNestingDepth)
    THROW_MY_EXCEPTION_F(256, "The sequences are nested more than %d levels deep.", kMaxNestingDepth);
  // An undefined length gives a sub-reader up to this reader's end; the item's parser stops at its
  // item delimiter, and this reader's cursor has followed every byte it read.
  Parser itemParser(reader_->CreateSubReader(length), *this);
  if (!keep) {
    itemParser.stopTag_ = stopTag_;
    itemParser.Parse(nullptr);
    return nullptr;
  }
  auto item = std::make_unique<VRSequenceItem>(kItemElement, length);
  item->SetDataOffset(start);
  itemParser.Parse(item.get());
  return item;
}

}  // namespace DicomEngine
