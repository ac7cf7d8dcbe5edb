// The CT series the MPR and volume benchmarks work on, found as the command-line host finds a stack.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "host_setup.h"

// The images of the largest series under `folder` (the CT series, beside the radiograph there), in
// series order. Throws std::runtime_error when there is no series of two images or more.
inline std::vector<ondrel::platform::ComPtr<IImageInfoNW>> CtSeries(const std::string& folder) {
  std::vector<ondrel::platform::ComPtr<IImageInfoNW>> slices;
  try {
    slices = ondrel::cli::LargestSeries(folder);
  } catch (const ondrel::cli::Failure&) {
  }
  if (slices.size() < 2) throw std::runtime_error(folder + ": no CT series (run bench/make_ct_series.py)");
  return slices;
}
