// `ondrel import`: a picture file made into a DICOM file by the core, as a workstation imports one.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

inline constexpr std::string_view kImportHelp =
    "Makes a DICOM file of PICTURE exactly as a workstation imports a picture. It builds a new patient,\n"
    "study, series and image of the workstation's objects, sets the image's file name to OUT (with\n"
    "--store it leaves it unset), creates the core's component and calls ImportImageAsDICOMFile with\n"
    "PICTURE and the image. The core reads\n"
    "the picture (BMP, JPEG, GIF, TIFF or PNG, known by its contents, not its name), tells the image\n"
    "its size and its 8-bit RGB format, gives it a new SOP Instance UID, and writes OUT in little-endian\n"
    "implicit VR: the picture's pixels as 8-bit RGB, three samples a pixel interleaved, the top row\n"
    "first (transparency is dropped, a palette is resolved), the Conversion Type WSD, and what the\n"
    "objects know. Of these the command sets the SOP Class UID of Secondary Capture Image Storage\n"
    "(1.2.840.10008.5.1.4.1.1.7), the modality OT and a new study and series instance UID; the patient\n"
    "has no name or ID. The file's meta information holds only the transfer syntax UID.\n"
    "\n"
    "Prints one line, with what the image object holds afterwards:\n"
    "  wrote OUT.dcm: 13x7 RGB, SOP Instance UID 1.3.6.1.4.1.77777.2024.5.17.9.41.12.123\n"
    "\n"
    "With --store the core hands the image to the workstation's storage instead: it is recorded in the\n"
    "database and its file written into the storage tree, where the store chooses (see ondrel store\n"
    "--help for the settings that name them). The command reads the image back from the database and\n"
    "checks that its file reads back whole, then prints where it is:\n"
    "  stored /var/lib/ondrel/DICOMfiles/1.3.6.1.4.1.77777.2024.5.17.9.41.12.123.1.1/.../....dcm\n"
    "A file cut short (a full disk, a file-size limit) is reported, and its row stays in the database:\n"
    "  ondrel: cannot write PATH: the file the core wrote is incomplete (1024 bytes); its row stays in\n"
    "  the database\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT.dcm  the DICOM file to write, replaced if it exists\n"
    "  --store               store the image in the workstation's storage (instead of -o)\n"
    "\n"
    "The core writes OUT under a temporary name beside it, which the command reads back as a DICOM image\n"
    "before it renames it: the core's writer does not report a write cut short.\n"
    "\n"
    "Failures: a PICTURE that can't be opened or read as a picture, a method of the core that fails, and\n"
    "an OUT that can't be written or reads back incomplete end the command with status 1:\n"
    "  ondrel: cannot open x.png: No such file or directory\n"
    "  ondrel: x.txt: not a picture the core reads (BMP, JPEG, GIF, TIFF or PNG)\n"
    "  ondrel: ImportImageAsDICOMFile failed (0x80004005): MESSAGE\n"
    "  ondrel: cannot write OUT.dcm: File too large";

int RunImport(std::span<const std::string_view> args);

}  // namespace ondrel::cli
