// Series synchronisation: when the user pages through one series, a second viewport follows with the
// slice of its own series that lies nearest to the current one.
//
// In auto mode the nearest slice is the one of the same frame of reference whose centre lies closest
// to the current image's centre. In manual mode the user has first fixed an offset between the two
// series (CalculateOffset), so that series from different acquisitions stay aligned as the user left
// them: the slice chosen is the one whose offset from the current image comes closest to the stored
// one. Only nearly parallel slices that face the same way are candidates.
//
// One lives in each viewport renderer, which loads and shows the slice chosen. It reads every
// candidate's geometry afresh at each call and keeps nothing of it.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "geometry/geometry.h"
#include "ondrel/ondrel.h"
#include "sources/image_info_strategy.h"

// How far, and which way, the centre of one image lies from another's.
struct SeriesOffset {
  double distance = 0.0;  // millimetres
  Point3D direction;      // the unit vector; zero when the two centres coincide
};

// The offset from the centre of `a` (its pixel (columns / 2, rows / 2)) to that of `b`. False when a
// fact of either geometry is not available, or when their planes are more than 0.1 radian apart or
// face opposite ways (a series with reversed normals is no candidate). Throws what the strategies'
// rows and columns getters throw.
bool CalculateSeriesOffset(ImageInfoStrategy& a, ImageInfoStrategy& b, SeriesOffset& offset);

class SeriesSynchronization {
 public:
  // The mode, a SynchronizeSeriesEnum value stored as it comes (SYNCH_SERIES_OFF at first).
  SynchronizeSeriesEnum Mode() const { return mode_; }
  void SetMode(SynchronizeSeriesEnum mode) { mode_ = mode; }

  // Forgets the offset stored before and, when both images are given, stores the offset from `current`
  // to `synch` under the Series Instance UID of `synch`, if it can be calculated: one offset at most
  // is kept, that of the last pair. Throws what the strategies' getters throw.
  void CalculateOffset(ImageInfoStrategy* current, ImageInfoStrategy* synch);
  // The stored offset of the series of `synch` (by its Series Instance UID), or null.
  const SeriesOffset* StoredOffset(ImageInfoStrategy& synch) const;

  // The image of the series of `synch` nearest to `current`, or null when none is a candidate. Every
  // image of the series is asked in series order; the first of equally near ones wins. Auto mode
  // passes over images of another frame of reference (or of none); manual mode passes over every
  // image when the series has no stored offset, and each whose direction from the current image is
  // zero; the other modes take the nearest centre, as auto mode does, whatever the frame. Throws what
  // the strategies' getters throw (GetFrameOfReferenceUid of a media image in auto mode).
  std::unique_ptr<ImageInfoStrategy> NearestSlice(ImageInfoStrategy& current, ImageInfoStrategy& synch) const;

 private:
  SynchronizeSeriesEnum mode_ = SYNCH_SERIES_OFF;
  // Offsets by the series' UID text.
  std::map<std::u16string, SeriesOffset> offsets_;
};
