// Failures as the command-line host tells them: a first line a person understands, and the core's own
// text (its exception with source file and line) after it only when the user asked for it (--verbose).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ondrel/platform/wintypes.h"

namespace ondrel::cli {

// A failure of a command, told in a person's words. `line` goes after "ondrel: "; `coreText`, when the
// core gave one, is its own text of the failure (the serialised `<exception ...>` text of a method's
// error information, or the engine's report), UTF-8 like `line`. Commands throw it; main and the script
// host print it with Report and end with kExitFailure.
struct Failure {
  std::string line;
  std::string coreText;
};

// Whether Report shows the core's text (--verbose). Off until set.
void SetVerbose(bool verbose);

// Prints "ondrel: WHERELINE" on standard error, then, under --verbose, each line of the failure's core
// text as "ondrel: core: TEXT". `where` is put before the line, as "SCRIPT:7: ".
void Report(const Failure& failure, std::string_view where = {});

// The message a person needs from a core text: the innermost failure of a serialised text
// (`<exception Message="...">` nested, other attributes after Message passed over) or the last line of a report (outermost first, a line each),
// without the " File=NAME, Line=N" the core appends, and with each decimal tag the core writes as
// "Group=G, Attribute=E" written as "tag (GGGG,EEEE)" in hexadecimal.
std::string CoreMessage(std::string_view coreText);

// The failure of a method of the core: "METHOD failed (0xHRESULT): MESSAGE", MESSAGE being the
// CoreMessage of the method's error description, which is the failure's core text.
Failure MethodFailure(std::string_view method, HRESULT result, const std::string& description);

// "cannot open FILE: REASON", the system's reason why FILE can't be opened for reading; nothing when it
// can. A folder can't: its reason is "Is a directory". As the engine does, a name without a dot that
// can't be opened counts as opened when the name with ".dcm" appended can.
std::optional<std::string> CannotOpen(const std::string& file);

// The failure of a DICOM file the engine or the study builder could not use, from their text of it
// (`coreText`, as given for --verbose): "cannot open FILE: REASON" when the file can't be opened;
// "FILE: not a DICOM file"; "FILE: holds no pixel data"; "FILE: is a media directory (DICOMDIR), not an
// image"; otherwise "FILE: UNREADABLE: MESSAGE" (CoreMessage), followed by ParseHint's sentence for the
// file's transfer syntax when the engine reads it as little-endian or does not know it.
Failure FileFailure(const std::string& file, const std::string& coreText,
                    std::string_view unreadable = "cannot be read");

}  // namespace ondrel::cli
