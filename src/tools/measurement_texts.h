// The three texts the ellipse's label is formatted with, shared by every tool of the process: the
// area of a calibrated and of an uncalibrated image, and the mean of the pixels. They come from the
// workstation's GlobalConfiguration ("resMeasAreaCalibrated", "resMeasAreaNotCalibrated",
// "resMeasMean"), so that a site can translate them, and are read once a process.
#pragma once

#include <string>

#include "ondrel/workstation_config.h"

class MeasurementTexts {
 public:
  // The texts of this process. Each tool completes them when it is made (LoadMissing with the
  // process's GlobalConfiguration object), so they stay empty until the first tool.
  static MeasurementTexts& Shared();

  // Sets each text that is still empty, in the order area calibrated, area not calibrated, mean: to
  // the text `configuration` gives for its key when there is an object, the call succeeds and the text
  // is not empty; otherwise to the English default ("Area=%.0f sq mm", "Area=%.0f sq px",
  // "Mean=%.2f%s"). A text that is set stays, so a key is read once. A configured text is the format
  // itself; one whose conversions are not those of its default (the areas one number, the mean a
  // number then a text) would read arguments that are never passed, and takes the default instead.
  void LoadMissing(IGlobalConfiguration* configuration);

  // The area line of an ellipse, and its mean line with `suffix` (" HU" or nothing) behind the number,
  // in Windows-1252 and cut to 31 characters, as a label of 32 wide characters holds them.
  std::string FormatArea(double area, bool calibrated) const;
  std::string FormatMean(double mean, const std::string& suffix) const;

 private:
  std::string areaCalibrated_;
  std::string areaNotCalibrated_;
  std::string mean_;
};
