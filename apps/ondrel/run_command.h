// `ondrel run`: drives the component from a script, as a workstation would.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

inline constexpr std::string_view kRunHelp =
    "Runs SCRIPT (or standard input for -), one command a line, against the core's component, exactly\n"
    "as a workstation drives it: off-screen windows, workstation objects built from DICOM files, and\n"
    "calls of the interface's methods. '#' starts a comment; names are the script's own. In the words of\n"
    "a command, $SCRIPT_DIR stands for the folder of SCRIPT (the current folder for standard input), so\n"
    "that a script can name files beside it wherever it is run from; relative names are the current\n"
    "folder's, and what the script writes goes there. `ondrel run --methods` lists the methods of both\n"
    "components with the kinds of their parameters, and the enumerators.\n"
    "\n"
    "Commands:\n"
    "  window NAME W H        an off-screen top-level window with a client area of W x H pixels\n"
    "  resize NAME W H        resizes it; destroy NAME destroys it\n"
    "  desktop W H            the size of the desktop (1920 x 1080 until set)\n"
    "  image NAME FILE [N]    the workstation objects of FILE, filled from it; NAME is its image object,\n"
    "                         of frame N (0 when not given), and, for the media component, its media\n"
    "                         image object, which knows only the file, UID and frame. A FILE that gives\n"
    "                         no image is a failure of the core (status 1), a frame it does not have a\n"
    "                         script error\n"
    "  newimage NAME FILE     a new image object without pixels, of a new patient, study and series,\n"
    "                         whose file is FILE, as SaveConsultImage and ImportImageAsDICOMFile need to\n"
    "                         write one\n"
    "  series NAME PATH...    a series built from files and folders; its images are NAME[0], NAME[1], ...\n"
    "                         in series order, each with its media image object too\n"
    "  component main|dicomdir\n"
    "                         the component the following calls go to: main (OndrelImpl, IOndrel) until\n"
    "                         a script says otherwise, or dicomdir (OndrelDicomDirImpl, IOndrelDicomDir:\n"
    "                         fewer methods, over media image objects). Each is made with\n"
    "                         CoCreateInstance on its first call and lives to the end of the script\n"
    "  call METHOD ARG...     calls an interface method with its arguments in slot order:\n"
    "                           window and image names; integers (decimal or 0x hex); numbers with a\n"
    "                           point; texts in double quotes; true or false (or a number) for a boolean;\n"
    "                           X,Y for a point; enumerators by name (ROTATE_RIGHT) or number; null for a\n"
    "                           null handle, pointer or text; ? for each out-parameter. Prints one line:\n"
    "                           METHOD -> 0xHRESULT out=VALUE... [error=\"DESCRIPTION\"]\n"
    "                         A trailing `as NAME...` names the series the method returns.\n"
    "  save NAME FILE         writes what window NAME shows (child windows included); the format is\n"
    "                         chosen by the extension: .png, .bmp, .jpg, .gif, .tif\n"
    "  type NAME TEXT         types TEXT into the focused edit window of NAME\n"
    "  expect TEXT            fails the script unless the last output line contains TEXT\n"
    "  echo TEXT              prints TEXT\n"
    "\n"
    "Example:\n"
    "  window view 512 512\n"
    "  image ct data/sample/CT_small.dcm\n"
    "  call InitializeTrace \"ondrel.log\" 3\n"
    "  call RenderImage ct view true\n"
    "  call GetCurrentImageZoom view ?\n"
    "  expect out=100\n"
    "  call PanImage null 1 1\n"
    "  expect error=\"The Ondrel received an invalid window handle.\"\n"
    "  save view ct.png\n"
    "\n"
    "The example runs from the repository's root; data/examples/ holds scripts that run from anywhere.\n"
    "\n"
    "A method that fails is not a script error: its line shows the code and the error description. A\n"
    "method writes its files as the core does (SaveImageAsFile, SaveConsultImage, ...): its line shows\n"
    "what the method answered.\n"
    "Exit status: 0 when every line ran, 1 when an expectation failed or the core failed outside a call\n"
    "(the line number and the reason, or the last output, go to standard error), 2 for a script error\n"
    "(unknown command, method or name, a method the chosen component does not have, wrong argument\n"
    "count, an enumerator that is none of its enumeration's, a frame the file does not have; the line\n"
    "number goes to standard error).";

int RunRun(std::span<const std::string_view> args);

}  // namespace ondrel::cli
