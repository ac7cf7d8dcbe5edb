// Compiled as a file of the tools, which the spatial tools stand on: the include must fail. What both
// read (the reference-line mode) stands with the tools.
#include "spatial/reference_line_tool.h"
