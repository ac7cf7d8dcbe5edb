#include "entry/ondrel_dicomdir_impl.h"

#include <memory>

#include "dicom/dicom_dictionary.h"
#include "foundation/exceptions.h"
#include "foundation/user_preferences.h"
#include "ondrel/platform/gdiplus.h"
#include "sources/image_info_strategies.h"

using entry::Pointer;
using entry::WindowHandle;

COndrelDicomDirImpl::~COndrelDicomDirImpl() {
  if (gdiplusToken_ != 0) Gdiplus::GdiplusShutdown(gdiplusToken_);
  --liveComponents_;
}

HRESULT COndrelDicomDirImpl::FinalConstruct() {
  return core_.Frame([this] {
    DicomEngine::DicomDictionary::Instance().Load("dicom_dictionary.txt");
    StartUserPreferences(false);
    const Gdiplus::GdiplusStartupInput input;
    if (Gdiplus::GdiplusStartup(&gdiplusToken_, &input, nullptr) != Gdiplus::Ok) {
      gdiplusToken_ = 0;
      THROW_MY_EXCEPTION("GDI+ could not be started.");
    }
  });
}

// As the workstation's RenderImage, without derived series: media hold none.
HRESULT COndrelDicomDirImpl::RenderImage(IDicomDirImage* pImgInfo, HWND hViewPort, VARIANT_BOOL bKeepPresIntent) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  if (pImgInfo == nullptr) return S_OK;
  std::unique_ptr<ImageInfoStrategy> strategy;
  const HRESULT made = core_.Frame([&] { strategy = std::make_unique<ImageInfoDicomDirStrategy>(pImgInfo); });
  if (FAILED(made)) return made;
  return core_.Render(std::move(strategy), hViewPort, bKeepPresIntent);
}
