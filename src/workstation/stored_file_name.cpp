#include "workstation/stored_file_name.h"

#include <algorithm>
#include <cstdint>

namespace ondrel::workstation {
namespace {

constexpr std::size_t kLongestUid = 64;

bool WellFormedUid(std::u16string_view uid) {
  if (uid.empty() || uid.size() > kLongestUid) return false;
  std::size_t start = 0;
  while (true) {
    const std::size_t end = std::min(uid.find(u'.', start), uid.size());
    if (end == start || (end - start > 1 && uid[start] == u'0')) return false;
    for (std::size_t i = start; i < end; ++i)
      if (uid[i] < u'0' || uid[i] > u'9') return false;
    if (end == uid.size()) return true;
    start = end + 1;
  }
}

std::uint64_t Fnv1a(std::u16string_view text) {
  std::uint64_t hash = 14695981039346656037ULL;
  for (const char16_t unit : text) {
    for (const auto byte : {static_cast<std::uint8_t>(unit & 0xFF), static_cast<std::uint8_t>(unit >> 8)}) {
      hash ^= byte;
      hash *= 1099511628211ULL;
    }
  }
  return hash;
}

}  // namespace

std::u16string UidFileName(std::u16string_view uid) {
  if (WellFormedUid(uid)) return std::u16string(uid);
  const std::string hash = std::to_string(Fnv1a(uid));
  return u"00." + std::u16string(hash.begin(), hash.end());
}

std::u16string StoredFileName(std::u16string_view rootPath, std::u16string_view studyUid,
                              std::u16string_view seriesUid, std::u16string_view sopInstanceUid) {
  std::u16string path(rootPath);
  if (!path.ends_with(u'/')) path += u'/';
  return path + UidFileName(studyUid) + u'/' + UidFileName(seriesUid) + u'/' + UidFileName(sopInstanceUid) + u".dcm";
}

}  // namespace ondrel::workstation
