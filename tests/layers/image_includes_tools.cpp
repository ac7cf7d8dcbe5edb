// Compiled as a file of the image pipeline, which the tools stand on: the include must fail. The image
// reaches its measurements only through image/annotations.h.
#include "tools/measurements.h"
