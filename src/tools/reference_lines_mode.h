// The reference-line mode of the process: off, the lines of the projected image, or of every image of
// its series. One value for every component object and viewport, as the user's choice is.
//
// It stands here, with the tools, and not with the reference-line calculation above them: the
// measurements' draw of the reference lines (nothing while the mode is off) and the reference line's
// own draw (which sets the numbers of odd images further off in series mode) both read it, and a
// layer reaches only what stands below it.
#pragma once

#include "ondrel/ondrel.h"

// REFERENCE_LINE_OFF until set.
ReferenceLinesEnum ReferenceLinesMode();
// Stores `mode` as it comes, unchecked: a value outside the enumeration draws lines as any mode but
// off does, and calculates none.
void SetReferenceLinesMode(ReferenceLinesEnum mode);
