// `ondrel volume`: a series rendered as a volume by the workstation's volume server, through the core.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

inline constexpr std::string_view kVolumeHelp =
    "Renders a series as a volume, exactly as a workstation does in volume mode, and writes the picture\n"
    "for a quick look. FILE or DIR (all the files under it) is read into series as the workstation's\n"
    "study builder groups them; the series with the most images is the volume. The command calls\n"
    "GenerateVolumeSeries with its middle image and the threshold, shows the volume image in a window of\n"
    "its size (the larger side of the slices), calls StartVolumeMode there, turns the view with a mouse\n"
    "drag (VolumeOnMouseButtonDown, two VolumeOnMouseMove, VolumeOnMouseButtonUp: half a degree a\n"
    "pixel, so the angles go in half degrees), writes what the window shows, and ends volume mode.\n"
    "\n"
    "The view starts from the front of the patient, head up. The picture is a ray-cast surface at the\n"
    "first sample within the threshold, shaded, in the user's userVolumeColor; or with --mip the\n"
    "maximum intensity projection of the samples within it, from black at MIN to white at MAX.\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT.png  the picture (.png, .bmp, .jpg, .gif or .tif; required)\n"
    "  --azimuth A           turn the eye A degrees to the right around the patient (default 0)\n"
    "  --elevation E         then E degrees up (default 0)\n"
    "  --threshold MIN,MAX   the visible range in modality values (Hounsfield units for CT; default\n"
    "                        300,3000, bone, for the surface, -1000,3000 for the projection)\n"
    "  --mip                 the maximum intensity projection instead of the surface\n"
    "\n"
    "Failures: no DICOM image in FILE or DIR; a series the server can't make a volume of (fewer than two\n"
    "slices, slices of different sizes or orientations, without position, at one place, in colour),\n"
    "with the server's own words; or a method of the core that fails: each ends the command with status\n"
    "1.";

int RunVolume(std::span<const std::string_view> args);

}  // namespace ondrel::cli
