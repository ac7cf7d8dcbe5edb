// COndrelDicomDirImpl: the component for browsing DICOM media (class OndrelDicomDirImpl). The same
// frames, renderer and loader as COndrelImpl over the media's image objects, reduced to the methods
// of IOndrelDicomDir; it starts GDI+ itself, and reads the user's preferences without the
// workstation's object (their defaults).
#pragma once

#include <atomic>

#include "entry/component_base.h"
#include "ondrel/ondrel.h"

class COndrelDicomDirImpl : public ComponentBase<IOndrelDicomDir> {
 public:
  COndrelDicomDirImpl() : ComponentBase(CLSID_OndrelDicomDirImpl) { ++liveComponents_; }
  ~COndrelDicomDirImpl() override;
  static long LiveComponents() { return liveComponents_; }

  // Creation: the dictionary, the preferences' defaults and GDI+. E_FAIL with error information when
  // one fails.
  HRESULT FinalConstruct();

  HRESULT RenderImage(IDicomDirImage* pImgInfo, HWND hViewPort, VARIANT_BOOL bKeepPresIntent) override;

 private:
  static inline std::atomic<long> liveComponents_{0};
  ULONG_PTR gdiplusToken_ = 0;
};
