#include "command_table.h"

#include <algorithm>
#include <array>
#include <iostream>

#include "dump_command.h"
#include "import_command.h"
#include "mpr_command.h"
#include "pixels_command.h"
#include "render_command.h"
#include "run_command.h"
#include "store_command.h"
#include "studies_command.h"
#include "volume_command.h"

namespace ondrel::cli {
namespace {

int RunHelp(std::span<const std::string_view> args) {
  if (args.empty()) {
    std::cout << OverviewHelp();
    return kExitSuccess;
  }
  if (args.size() > 1) throw UsageError{"help takes at most one command name"};
  const Command* command = FindCommand(args[0]);
  if (command == nullptr) throw UsageError{"unknown command '" + std::string(args[0]) + "'"};
  std::cout << CommandHelp(*command);
  return kExitSuccess;
}

constexpr std::string_view kPixelWarningsHelp =
    "Warnings: where the core shows pixels it does not decode or understand, a line on standard error\n"
    "names the transfer syntax or attribute, and the command goes on:\n"
    "  ondrel: warning: x.dcm: RLE Lossless (1.2.840.10008.1.2.5) is not decoded; the picture, if any, shows the compressed bytes\n"
    "The image loader decodes JPEG (1.2.840.10008.1.2.4.50, .51, .70) and JPEG 2000 (.90, .91) only: RLE,\n"
    "JPEG lossless process 14 (.57) and the other JPEG processes come as their compressed bytes. 32-bit\n"
    "and 1-bit samples (Bits Allocated 32 or 1) are read as 16- and 8-bit samples, and YBR_FULL_422,\n"
    "compressed or not, is shown as grey. The core refuses to show an image whose pixel data hold less\n"
    "than half of what its header describes, as compressed bytes and packed bits often do: render fails\n"
    "then, after the warning. Data the engine can't parse, big-endian (1.2.840.10008.1.2.2) or of a\n"
    "transfer syntax it does not know (deflate 1.2.840.10008.1.2.1.99, JPEG-LS .80 and .81, ...), end\n"
    "the command with status 1 and a sentence that says why.\n";

constexpr std::string_view kWritesHelp =
    "Files written: each output (of run, each file of save) is written under a temporary name beside it\n"
    "(.NAME.ondrel-XXXXXXXX.tmp) and renamed to its name once complete, with the permissions of the file\n"
    "it replaces. A write that fails (a full disk, a file-size limit, a folder that does not exist) ends\n"
    "the command with status 1 and \"ondrel: cannot write OUT: REASON\", and leaves no partial file: an\n"
    "existing OUT stays as it was. An OUT in /dev or /proc (/dev/stdout), or that exists and is no\n"
    "regular file (a pipe), receives a copy of the whole file; an OUT that is a symbolic link to a file\n"
    "replaces the file it points to.\n";

constexpr std::string_view kStorageSettingsHelp =
    "Settings: the storage tree's root (DICOMfiles) and the database (DbConnectionString) are those of\n"
    "ViewerUI.exe.config beside the program; the environment variables ONDREL_DICOM_FILES and\n"
    "ONDREL_DB_CONNECTION take their place. A database is the path of a SQLite file, made with its\n"
    "tables on first use (its folder must exist), or a PostgreSQL URI, postgresql://USER@HOST:PORT/DB,\n"
    "for a server that several workstations share. Both hold one schema: tables patients, studies,\n"
    "series and images, keyed by Patient ID and name and by the UIDs.\n";

constexpr std::string_view kExitStatusHelp =
    "Exit status: 0 on success, 1 when the core fails or a file can't be written (the reason goes to\n"
    "standard error), 2 when the command line is wrong.\n";

constexpr std::string_view kVerboseHelp =
    "  --verbose      after the first line of a failure, which says what went wrong in plain words,\n"
    "                 print the core's own text of it (its exception, with source file and line), a\n"
    "                 line each as \"ondrel: core: TEXT\"; it may stand anywhere on the command line\n";

constexpr std::array kCommands{
    Command{"help", "show the help of a command", "ondrel help [COMMAND]",
            "Without COMMAND, prints the overview of all commands; with it, that command's help.",
            RunHelp},
    Command{"dump", "print the elements of DICOM files as the engine reads them",
            "ondrel dump [--up-to-pixels] FILE...", kDumpHelp, RunDump},
    Command{"pixels", "write the decoded pixel buffer of a DICOM file", "ondrel pixels FILE -o OUT.raw",
            kPixelsHelp, RunPixels, true, true},
    Command{"render", "show an image of a DICOM file through the core and save it as a picture",
            "ondrel render INPUT -o OUT.png [OPTION...]", kRenderHelp, RunRender, true, true},
    Command{"import", "make a DICOM file of a picture through the core, or store it",
            "ondrel import PICTURE -o OUT.dcm | ondrel import PICTURE --store", kImportHelp, RunImport, false, true, true},
    Command{"store", "record DICOM files in the workstation's storage (database and storage tree)",
            "ondrel store [--copy] FILE|DIR...", kStoreHelp, RunStore, false, true, true},
    Command{"studies", "list the patients, studies and series of files, folders, a DICOMDIR or the database",
            "ondrel studies [--images] PATH...|--db", kStudiesHelp, RunStudies, false, false, true},
    Command{"mpr", "write the reformats of a stack of slices, made by the core, as pictures",
            "ondrel mpr FILE|DIR -o PREFIX [--mip]", kMprHelp, RunMpr, true, true},
    Command{"volume", "render a series as a volume through the core and its volume server",
            "ondrel volume FILE|DIR -o OUT.png [--azimuth A --elevation E] [--threshold MIN,MAX] [--mip]",
            kVolumeHelp, RunVolume, true, true},
    Command{"run", "drive the core's component from a script", "ondrel run SCRIPT|-|--methods", kRunHelp, RunRun,
            true, true, true},
};

}  // namespace

std::span<const Command> Commands() { return kCommands; }

const Command* FindCommand(std::string_view name) {
  const auto found = std::find_if(kCommands.begin(), kCommands.end(),
                                  [name](const Command& command) { return command.name == name; });
  return found == kCommands.end() ? nullptr : &*found;
}

std::string CommandHelp(const Command& command) {
  std::string text = "Usage: ";
  text.append(command.usage).append("\n\n").append(command.help).append("\n");
  if (command.showsPixels) text.append("\n").append(kPixelWarningsHelp);
  if (command.writesFiles) text.append("\n").append(kWritesHelp);
  if (command.usesStorage) text.append("\n").append(kStorageSettingsHelp);
  text.append("\nFor every command:\n").append(kVerboseHelp);
  text.append("\n").append(kExitStatusHelp);
  return text;
}

std::string OverviewHelp() {
  std::string text =
      "Usage: ondrel [--verbose] COMMAND [ARGS...]\n"
      "       ondrel --help | --version\n"
      "\n"
      "Ondrel is the image core of a medical image viewing workstation. This program drives the core as\n"
      "a workstation would, from the command line.\n"
      "\n"
      "Commands:\n";
  std::size_t width = 0;
  for (const Command& command : kCommands) width = std::max(width, command.name.size());
  for (const Command& command : kCommands) {
    text.append("  ").append(command.name).append(width - command.name.size() + 2, ' ');
    text.append(command.summary).append("\n");
  }
  text.append(
      "\n"
      "Options:\n"
      "  -h, --help     show this help; `ondrel COMMAND --help` shows a command's help\n"
      "  --version      show the version\n");
  text.append(kVerboseHelp).append("\n").append(kExitStatusHelp);
  return text;
}

std::string VersionText() { return std::string("ondrel ") + ONDREL_VERSION + "\n"; }

InputAndOutput ParseInputAndOutput(std::span<const std::string_view> args, std::string_view command,
                                   std::string_view inputName, std::string_view outputName) {
  const std::string name(command);
  InputAndOutput parsed;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "-o" || args[i] == "--output") {
      if (i + 1 == args.size()) throw UsageError{std::string(args[i]) + " needs a file name"};
      parsed.output = args[++i];
    } else if (args[i].starts_with("-")) {
      throw UsageError{"unknown option '" + std::string(args[i]) + "'"};
    } else if (parsed.input.empty()) {
      parsed.input = args[i];
    } else {
      throw UsageError{name + " takes one " + std::string(inputName)};
    }
  }
  if (parsed.input.empty()) throw UsageError{name + " needs a " + std::string(inputName)};
  if (parsed.output.empty()) throw UsageError{name + " needs -o " + std::string(outputName)};
  return parsed;
}

}  // namespace ondrel::cli
