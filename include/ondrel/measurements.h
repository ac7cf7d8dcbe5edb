// IOndrelMeasurements: what a host reads of the measurements a user has drawn in a viewport. It is a
// second interface of the components (OndrelImpl and OndrelDicomDirImpl), reached by QueryInterface on
// either with IOndrelMeasurements::kIid; its failures name the component's class and this interface,
// as IOndrel's do (include/ondrel/ondrel.h).
//
// GetMeasurementsText(hViewPort, pbstrText) gives the measurements of the image the window shows, in a
// new BSTR the caller frees: one line for each measurement and free text, oldest first, then one for
// each reference line of the image, each line ending in "\n". It changes nothing, and draws nothing.
// A window that shows no image gives an empty text. Checks: W hViewPort, then P pbstrText (E_POINTER
// with "The Ondrel received an invalid window handle." or "The Ondrel received an invalid pointer.").
//
// A measurement or free text:
//   KIND POINT... selected=SELECTED mode=MODE [label="LINE|LINE..."] [label-at=POINT]
// - KIND: line, calibration, ellipse, angle or text.
// - POINT: x,y in pixels of the image as stored (columns, rows from the top-left pixel, before any
//   rotation or flip), whole numbers, possibly outside the image. A line and a calibration line have
//   their two ends, an ellipse the two opposite corners of its box, an angle its first end, vertex and
//   second end, in the order they were drawn; a measurement still being made has those it has so far
//   (none after a press outside the image). A text has the top-left corner of its box.
// - SELECTED: yes for the selected tool, label when the measurement's label is selected, else no.
// - MODE: the interaction the tool is in, a MeasOperationsEnum name (MEAS_MODE_NONE when finished).
// - label: the text exactly as drawn, its lines joined by '|': a measurement's label (absent until it
//   is made) or a text's own lines; in Windows-1252 taken to UTF-16 (the degree sign is U+00B0); a
//   backslash, double quote or '|' of the text stands with a backslash before it.
// - label-at: for a label the user has dragged away, the image pixel of its top-left corner, where it
//   now stays; a label without it is drawn beside its measurement.
// For example:
//   line 10,20 60,20 selected=no mode=MEAS_MODE_NONE label="50 px"
//   ellipse 10,10 21,21 selected=yes mode=MEAS_MODE_NONE label="Area=79 sq px|Mean=40.25 HU"
//   angle 30,30 40,40 50,30 selected=no mode=MEAS_MODE_NONE label="90°" label-at=60,12
//   text 5,100 selected=no mode=MEAS_MODE_NONE label="left kidney|cyst"
// A reference line:
//   reference POINT POINT
// its two ends, in pixels of this image.
#pragma once

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"
#include "ondrel/platform/windows.h"

struct IOndrelMeasurements : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("9C6A280A-2D27-4468-97DA-8D248EF5B118");

  virtual HRESULT GetMeasurementsText(HWND hViewPort, BSTR* pbstrText) = 0;  // W P

 protected:
  ~IOndrelMeasurements() = default;
};

inline constexpr IID IID_IOndrelMeasurements = IOndrelMeasurements::kIid;
