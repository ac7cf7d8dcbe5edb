// `ondrel store`: DICOM files recorded in the workstation's storage, as a workstation stores them.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

inline constexpr std::string_view kStoreHelp =
    "Records DICOM images in the workstation's storage. Each FILE, and every file under each DIR\n"
    "(recursively, in name order), is read by the core's DICOM engine, and its patient, study, series and\n"
    "image are recorded in the workstation's database by its Store, one transaction an image. Storing a\n"
    "file again updates its rows and duplicates nothing.\n"
    "\n"
    "Without --copy each file is recorded where it is, by its absolute path. With --copy the store\n"
    "chooses its place in the storage tree, DICOMfiles/STUDY/SERIES/IMAGE.dcm, each name the UID (or,\n"
    "for a UID that is not well formed, \"00.\" and a hash of it), the file is recorded there and then\n"
    "copied there byte for byte.\n"
    "\n"
    "Files that are not DICOM, fail to parse, hold no pixel data or are media directories (DICOMDIR) are\n"
    "passed over, each with a line on standard error:\n"
    "  ondrel: passed over notes.txt: not a DICOM file\n"
    "On a terminal, a line on standard error shows how far the run has come. At the end it prints:\n"
    "  stored 300 images in /var/lib/ondrel/ondrel.sqlite (2 files passed over)\n"
    "\n"
    "Options:\n"
    "  --copy         copy each file into the storage tree\n"
    "\n"
    "Failures end the command with status 1 at the file they meet: a database that can't be opened or\n"
    "written, and a copy that can't be written. A copy that fails (a full disk) leaves the image's row in\n"
    "the database, pointing to the file that is missing, as every store does that fails after it has\n"
    "recorded; storing the file again once there is room puts it in place.\n"
    "  ondrel: cannot store x.dcm: Failed to store the image into the database. HRESULT=80004005: unable\n"
    "  to open database file\n"
    "  ondrel: cannot write /srv/dicom/1.2.3/1.2.3.4/1.2.3.4.5.dcm: No space left on device\n";

int RunStore(std::span<const std::string_view> args);

}  // namespace ondrel::cli
