// `ondrel render`: one image of a DICOM file shown in an off-screen window by the core's component,
// under the display operations given, and saved as a picture.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

inline constexpr std::string_view kRenderHelp =
    "Shows an image of INPUT exactly as a workstation does and saves what the window shows. It builds\n"
    "the workstation's objects for INPUT (filled from the file), makes an off-screen window, creates\n"
    "the core's component, throws the switches asked for, and calls RenderImage with the image and\n"
    "the window, without keeping a presentation intent: the image starts from its own window and\n"
    "level, unzoomed, unrotated. Then SelectWindow if --select is given, then the display operations\n"
    "in the order they stand on the command line, then Draw, then MagnifyingGlass if --magnify is\n"
    "given; the window's client area is written to OUT.\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT      the picture to write (required), replaced if it exists; without\n"
    "                        --encoding its extension chooses the format: .png, .bmp, .jpg, .gif or .tif\n"
    "  --frame N             the frame of a multi-frame image, from 0 (default 0); a frame the file\n"
    "                        does not have is a wrong command line (status 2)\n"
    "  --size WxH            the window's client area in pixels, each from 1 to 16384 (default 512x512)\n"
    "  --select              selects the window (SelectWindow), so that its selection frame shows\n"
    "Display operations, in command-line order, each repeatable:\n"
    "  --window W --level L  a window width (1 or more) and centre (ApplyWindowLevelPreset); the two go\n"
    "                        together and the preset applies where the second of them stands\n"
    "  --zoom PCT            zoom in percent of the fitted size (ZoomImage); 0 shows one image pixel\n"
    "                        per window pixel\n"
    "  --pan DX,DY           moves the image by DX,DY window pixels (PanImage)\n"
    "  --rotate right|left   turns the image a quarter to the right or left (RotateFlipImage)\n"
    "  --flip lr|ud          mirrors the image left-right or upside-down (RotateFlipImage)\n"
    "  --invert              inverts the grey scale (InvertImage)\n"
    "  --palette NAME        none, rainbow, hot-iron or hot-blue-metal (ApplyColorPalette)\n"
    "Switches, thrown before RenderImage (they are the process's, for every window):\n"
    "  --no-overlays         hides the texts in the image's corners (ToggleOverlaysVisibility)\n"
    "  --no-shutter          shows the image without the shutter its file describes (ToggleShutter)\n"
    "After Draw:\n"
    "  --magnify X,Y         shows the magnifying glass around window pixel X,Y (MagnifyingGlass), as\n"
    "                        the user's preferences size it; OUT then holds what the window shows: the\n"
    "                        glass, and no overlays, since the glass is drawn without them\n"
    "  --encoding MIME       writes OUT through the core's SaveImageAsFile with the encoder of that MIME\n"
    "                        type (image/png, image/bmp, image/jpeg, image/gif or image/tiff) instead of\n"
    "                        the host's own capture; OUT's extension is then free. SaveImageAsFile draws\n"
    "                        the window afresh first, so a --magnify glass does not show. The method\n"
    "                        succeeds whether or not it wrote: a type no encoder has writes nothing,\n"
    "                        and the command then fails (status 1) saying so, as it does when the\n"
    "                        file is left empty or can't be written\n"
    "  --display-raw RAW     writes the image's display pixels with its overlays to RAW\n"
    "                        (GetImageCurrentPixelData), rows top-down, rows and columns padded to\n"
    "                        multiples of 4: one byte a pixel for grey; under a palette three planes,\n"
    "                        red, green, blue; for a colour image blue, green, red interleaved. Prints\n"
    "                        one line: rows=R columns=C colour=yes|no\n"
    "\n"
    "Example:\n"
    "  ondrel render data/sample/CT_small.dcm -o ct.png --window 400 --level 40 --zoom 150 --rotate right\n"
    "\n"
    "Failures: an INPUT that can't be read, a method of the core that fails and an OUT or RAW that\n"
    "can't be written end the command with status 1 and write no OUT (a RAW, which is written just\n"
    "before OUT, stays). The first line says what failed in plain words:\n"
    "  ondrel: cannot open x.dcm: No such file or directory\n"
    "  ondrel: x.txt: not a DICOM file\n"
    "  ondrel: METHOD failed (0xHRESULT): MESSAGE\n"
    "MESSAGE being the innermost failure of the method's error information without its source file\n"
    "and line. Decimal tags of the core's texts are shown as (gggg,eeee); --verbose adds the core's\n"
    "whole text.";

int RunRender(std::span<const std::string_view> args);

}  // namespace ondrel::cli
