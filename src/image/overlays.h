// The overlays: demographic and technical texts written in white in the four corners of a viewport,
// over the picture. Top left: patient name and sex. Top right: institution, study description, study
// date. Bottom left, from the bottom up: window and level (or the filter threshold), manufacturer,
// acquisition date and time, contrast agent, image number. Bottom right, from the bottom up: series
// description, series date and time. A text or date the image does not have leaves no line.
//
// The labels come once per process from the workstation's GlobalConfiguration ("resOverlaySex",
// "resOverlayImageNr", "resOverlayWL", "resOverlayThreshold"), each falling back to its English text
// when the configuration lacks it. The font is the user's overlay font, sized by the viewport's height
// against the desktop's, so the texts keep their proportion on any viewport. One process-wide switch
// shows or hides every overlay.
#pragma once

#include "ondrel/platform/gdi.h"
#include "ondrel/platform/windows.h"
#include "sources/image_info_strategy.h"

// Whether overlays are drawn, process-wide; true at first.
bool OverlaysVisible();
void SetOverlaysVisible(bool visible);

class Overlays {
 public:
  // `info` is the image's strategy, not owned.
  explicit Overlays(ImageInfoStrategy* info);

  // Writes the corner texts of the image within `client`, with window `windowValue` and level
  // `levelValue`, or with `threshold` when `filter` is non-zero; nothing while overlays are hidden.
  // Throws MyException "The window handle is invalid." for a null window, "Failed to get the desktop
  // window rectangle." when the desktop has no height, and what the strategy throws.
  void Draw(HWND window, const RECT& client, LONG windowValue, LONG levelValue, LONG threshold, USHORT filter);
  // The same on a device context (a picture being exported, for example). The context keeps its font;
  // its text colour, background colour and mode are left as the overlays set them (white, black,
  // transparent). A null context throws "The User preferences received an invalid parameter.".
  void Draw(HDC dc, const RECT& client, LONG windowValue, LONG levelValue, LONG threshold, USHORT filter);

 private:
  ImageInfoStrategy* info_;
};
