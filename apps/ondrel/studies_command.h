// `ondrel studies`: the patients, studies and series of files, folders or the workstation's database.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

inline constexpr std::string_view kStudiesHelp =
    "Lists the patients, their studies and the studies' series, as a workstation's browser shows them:\n"
    "of the DICOM files of each PATH (a file, or every file under a folder, as the study builder reads\n"
    "them; a DICOMDIR given as a PATH lists the medium it describes, as its directory records link the\n"
    "images, each with the file its record names), or, with --db, of what the workstation's database\n"
    "holds (ondrel store, and the images the core stores: saved consult images, imported pictures,\n"
    "saved MPR series).\n"
    "\n"
    "One line each, indented by level:\n"
    "  patient \"DOE^JANE\" id 12345 sex F\n"
    "    study 1.2.840.113619.2.1 date 2004-01-19 \"CT HEAD\" accession A123\n"
    "      series 1.2.840.113619.2.1.1 number 2 CT \"AXIAL 5MM\": 3 images\n"
    "        image 1.2.840.113619.2.1.1.7 number 7 /srv/dicom/1.2.840.113619.2.1/1.2.840.113619.2.1.1/...\n"
    "A value the objects do not have is left out; texts stand in double quotes. Image lines, in series\n"
    "order with their files, come with --images. Files of the PATHs that give no image are listed last,\n"
    "as \"passed over FILE: REASON\", and so are a DICOMDIR's records that can't be followed (a link to\n"
    "no record, a loop, a file ID that would leave the DICOMDIR's folder), FILE then being the DICOMDIR.\n"
    "\n"
    "Options:\n"
    "  --db           list the database's contents instead of PATHs\n"
    "  --images       list each series' images with their files\n"
    "\n"
    "Failures: a database that can't be opened or read ends the command with status 1:\n"
    "  ondrel: cannot read the database /srv/ondrel.sqlite: unable to open database file\n";

int RunStudies(std::span<const std::string_view> args);

}  // namespace ondrel::cli
