#include "tools/reference_lines_mode.h"

namespace {

ReferenceLinesEnum g_referenceLinesMode = REFERENCE_LINE_OFF;

}  // namespace

ReferenceLinesEnum ReferenceLinesMode() { return g_referenceLinesMode; }

void SetReferenceLinesMode(ReferenceLinesEnum mode) { g_referenceLinesMode = mode; }
