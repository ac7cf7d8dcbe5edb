// `ondrel mpr`: a stack's reformats as pictures, made by the core as a workstation asks for them.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

inline constexpr std::string_view kMprHelp =
    "Makes the multi-planar reformats of a stack of parallel slices, exactly as a workstation asks the\n"
    "core for them, and writes each as a picture for a quick look. FILE or DIR (all the files under it)\n"
    "is read into series as the workstation's study builder groups them; the series with the most\n"
    "images is the stack. The command calls GenerateMprSeries with its middle image, shows the middle\n"
    "image of each orthogonal series and the oblique image, cut along the diagonal of the slices, each\n"
    "in a window of its own size, at one pixel a window pixel and the stack's own window and level, and\n"
    "writes them, without the corner texts:\n"
    "  PREFIX-first.png    across the slices' rows (coronal for an axial stack)\n"
    "  PREFIX-second.png   across their columns (sagittal)\n"
    "  PREFIX-oblique.png  along the MPR line\n"
    "  PREFIX-mip.png      with --mip: the maximum intensity projection of the stack (GenerateMipSeries)\n"
    "and prints one line a picture with its size.\n"
    "\n"
    "Options:\n"
    "  -o, --output PREFIX  the start of the pictures' names (required)\n"
    "  --mip                write the MIP too\n"
    "\n"
    "Failures: no DICOM image in FILE or DIR, a stack of one image or of slices at one place (\"Cannot\n"
    "calculate the source stack rows angle.\"), or a method of the core that fails end the command with\n"
    "status 1.";

int RunMpr(std::span<const std::string_view> args);

}  // namespace ondrel::cli
