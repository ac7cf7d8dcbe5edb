// What the spatial tests share: slices of made geometry as the workstation's objects describe them,
// series of them, and the real series of tests/data/spatial as the study builder makes them.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <optional>
#include <memory>
#include <string>
#include <vector>

#include "geometry/geometry.h"
#include "ondrel/study_builder.h"
#include "sources/image_info_strategies.h"
#include "spatial/reference_lines.h"
#include "workstation/graph_support.h"

namespace spatial_test {

using namespace workstation_test;

// An image's geometry: position of pixel (0, 0), row and column directions, square pixels.
struct Slice {
  Point3D position;
  Point3D first{1.0, 0.0, 0.0};
  Point3D second{0.0, 1.0, 0.0};
  double spacing = 1.0;
  USHORT rows = 64;
  USHORT columns = 64;
};

// The DICOM text of numbers: backslashes between them, every digit a double holds.
inline BStr DicomText(std::initializer_list<double> values) {
  std::string text;
  for (const double value : values) {
    char number[32];
    std::snprintf(number, sizeof number, "%.17g", value);
    text += (text.empty() ? "" : "\\") + std::string(number);
  }
  return BStr(std::u16string(text.begin(), text.end()));
}

// Gives `image` the slice's geometry and the instance number.
inline void Describe(IImageInfoNW* image, const Slice& slice, LONG instance) {
  const Point3D& p = slice.position;
  EXPECT_EQ(image->SetImagePosition(DicomText({p.x, p.y, p.z}).Get()), S_OK);
  const Point3D& u = slice.first;
  const Point3D& v = slice.second;
  EXPECT_EQ(image->SetImageOrientation(DicomText({u.x, u.y, u.z, v.x, v.y, v.z}).Get()), S_OK);
  EXPECT_EQ(image->SetPixelSpacing(slice.spacing, slice.spacing), S_OK);
  EXPECT_EQ(image->SetRows(slice.rows), S_OK);
  EXPECT_EQ(image->SetColumns(slice.columns), S_OK);
  EXPECT_EQ(image->SetInstanceNumber(instance), S_OK);
  const std::string uid = "1.2.3." + std::to_string(instance);
  EXPECT_EQ(image->SetSopInstanceUid(BStr(std::u16string(uid.begin(), uid.end())).Get()), S_OK);
}

// An image of the slice added to the series, numbered `instance`.
inline ComPtr<IImageInfoNW> AddSlice(ISeriesInfoNW* series, const Slice& slice, LONG instance) {
  ComPtr<IImageInfoNW> image = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  Describe(image.Get(), slice, instance);
  EXPECT_EQ(series->AddImageToSeries(image.Get()), S_OK);
  return image;
}

// A series of the slices, in the order given (numbered 1, 2, ...), in the frame of reference `frame`.
class MadeSeries {
 public:
  MadeSeries(const std::u16string& frame, const std::vector<Slice>& slices, const std::u16string& uid = u"1.2.9") {
    EXPECT_EQ(graph_.series->SetFrameOfReferenceUid(BStr(frame).Get()), S_OK);
    EXPECT_EQ(graph_.series->SetSeriesInstanceUid(BStr(uid).Get()), S_OK);
    Describe(graph_.image.Get(), slices.at(0), 1);
    images_.push_back(graph_.image);
    for (std::size_t i = 1; i < slices.size(); ++i)
      images_.push_back(AddSlice(graph_.series.Get(), slices[i], static_cast<LONG>(i + 1)));
  }

  IImageInfoNW* Object(std::size_t i) const { return images_.at(i).Get(); }
  // A new strategy over the i-th image.
  std::unique_ptr<ImageInfoStrategy> Strategy(std::size_t i) const {
    return std::make_unique<ImageInfoWStationStrategy>(images_.at(i).Get());
  }

 private:
  Graph graph_;
  std::vector<ComPtr<IImageInfoNW>> images_;
};

// An axial slice (rows along y) of `size` pixels of 1 mm whose pixel (0, 0) lies at (0, 0, z).
inline Slice Axial(double z, USHORT size = 64) { return {{0.0, 0.0, z}, {1, 0, 0}, {0, 1, 0}, 1.0, size, size}; }
// A coronal slice (rows down z) at y whose pixel (0, 0) lies at (x, y, top).
inline Slice Coronal(double y, double x = 0.0, double top = 60.0, USHORT columns = 64, double spacing = 1.0) {
  return {{x, y, top}, {1, 0, 0}, {0, 0, -1}, spacing, 64, columns};
}
// A sagittal slice (rows down z) at x.
inline Slice Sagittal(double x, double top = 60.0) { return {{x, 0.0, top}, {0, 1, 0}, {0, 0, -1}, 1.0, 64, 64}; }

// A reference line's ends as the measurement list and the test manifest give them: "X1,Y1 X2,Y2", or
// "none".
inline std::string Text(const std::optional<ReferenceLineEnds>& ends) {
  if (!ends) return "none";
  return std::to_string(ends->first.x) + "," + std::to_string(ends->first.y) + " " + std::to_string(ends->second.x) +
         "," + std::to_string(ends->second.y);
}

// The images of the real test series (scripts/make_spatial_series), by name: "axial[2]" is the third
// image of tests/data/spatial/axial in series order. The files are of explicit VR: they are read
// without the dictionary, which a component loads from beside the test program.
class RealSeries {
 public:
  RealSeries() {
    for (const char* name : {"axial", "axial2", "coronal", "sagittal", "tilted", "oblique", "other"}) {
      const ondrel::StudyGraph graph = ondrel::BuildStudies({std::string(ONDREL_TEST_DATA_DIR "/spatial/") + name});
      EXPECT_EQ(graph.series.size(), 1U) << name;
      if (graph.series.empty()) continue;
      const auto images = ImagesOf(graph.series[0].Get());
      for (std::size_t i = 0; i < images.size(); ++i)
        images_[std::string(name) + "[" + std::to_string(i) + "]"] = images[i];
    }
  }

  IImageInfoNW* Image(const std::string& name) const {
    const auto found = images_.find(name);
    EXPECT_NE(found, images_.end()) << name;
    return found != images_.end() ? found->second.Get() : nullptr;
  }
  std::unique_ptr<ImageInfoStrategy> Strategy(const std::string& name) const {
    return std::make_unique<ImageInfoWStationStrategy>(Image(name));
  }
  // The name of the image with the strategy's SOP Instance UID.
  std::string NameOf(ImageInfoStrategy& image) const {
    const std::u16string uid(image.GetSopInstanceUid().View());
    for (const auto& [name, object] : images_)
      if (ReadText(object.Get(), &IImageInfoNW::GetSopInstanceUid) == uid) return name;
    return "(an image of no test series)";
  }
  const std::map<std::string, ComPtr<IImageInfoNW>>& Images() const { return images_; }

 private:
  ClassesRegistered registered_;
  std::map<std::string, ComPtr<IImageInfoNW>> images_;
};

}  // namespace spatial_test
