// Where the storage tree keeps an image's file: root/study/series/file, each name made from a UID.
#pragma once

#include <string>
#include <string_view>

namespace ondrel::workstation {

// The name of a folder or file for `uid`: the UID itself when it is well formed (1 to 64 characters,
// dot-separated components of digits, none empty and none with a leading zero), otherwise "00." and
// the decimal 64-bit FNV-1a hash of its UTF-16 code units. No well-formed UID starts with "00", so a
// hashed name never meets a real UID's, and no name is empty, "." or ".." or holds a '/'.
std::u16string UidFileName(std::u16string_view uid);

// rootPath "/" study "/" series "/" image ".dcm", the three names made by UidFileName; a root that
// ends in '/' is not given a second one.
std::u16string StoredFileName(std::u16string_view rootPath, std::u16string_view studyUid,
                              std::u16string_view seriesUid, std::u16string_view sopInstanceUid);

}  // namespace ondrel::workstation
