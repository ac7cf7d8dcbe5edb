// Compiled as a file of the DICOM engine, which stands below the image pipeline: the include must fail.
#include "image/image.h"
