#include "entry/ondrel_impl.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "dicom/dicom_dictionary.h"
#include "foundation/exceptions.h"
#include "foundation/settings_helper.h"
#include "foundation/user_preferences.h"
#include "image/image_export.h"
#include "sources/image_info_strategies.h"
#include "tools/reference_lines_mode.h"

using entry::Pointer;
using entry::WindowHandle;

HRESULT COndrelImpl::FinalConstruct() {
  // The licence check comes first; this build carries no licence that can expire, so it passes.
  const HRESULT hr = core_.Frame([] {
    SettingsHelper::Instance().Load("ViewerUI.exe.config");
    DicomEngine::DicomDictionary::Instance().Load("dicom_dictionary.txt");
    StartUserPreferences(true);
  });
  if (FAILED(hr)) return hr;
  const HRESULT created = CreateGlobalConfiguration();
  if (FAILED(created)) {
    char text[128];
    std::snprintf(text, sizeof text, "The Ondrel failed to create the GlobalConfiguration object. HRESULT=%0X",
                  static_cast<unsigned>(created));
    entry::ReportError(CLSID_OndrelImpl, IID_IOndrel, std::u16string(text, text + std::strlen(text)).c_str(), E_FAIL);
  }
  return S_OK;
}

HRESULT COndrelImpl::RenderImage(IImageInfoNW* pImgInfo, HWND hViewPort, VARIANT_BOOL bKeepPresIntent) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  if (pImgInfo == nullptr) return S_OK;
  std::unique_ptr<ImageInfoStrategy> strategy;
  const HRESULT made = core_.Frame([&] { strategy = std::make_unique<ImageInfoWStationStrategy>(pImgInfo); });
  if (FAILED(made)) return made;
  return core_.Render(std::move(strategy), hViewPort, bKeepPresIntent);
}

HRESULT COndrelImpl::RenderConsultImage(HWND hViewPort, HWND hConsultViewPort, IImageInfoNW* pImgInfo) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), WindowHandle(hConsultViewPort), Pointer(pImgInfo)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    ImageInfoWStationStrategy strategy(pImgInfo);
    core_.Renderer().RenderConsultImage(hViewPort, hConsultViewPort, &strategy);
  });
}

HRESULT COndrelImpl::ReleaseWindow(HWND hViewPort) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] { core_.Renderer().ReleaseWindow(hViewPort); });
}

HRESULT COndrelImpl::SaveImageAsFile(HWND hViewPort, BSTR bstrEncoding, BSTR bstrFileName) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(bstrEncoding), Pointer(bstrFileName)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    const std::u16string encoding(bstrEncoding, SysStringLen(bstrEncoding));
    const std::u16string name(bstrFileName, SysStringLen(bstrFileName));
    Image* image = core_.Renderer().GetCurrentImage(hViewPort);
    if (image != nullptr) ::SaveImageAsFile(*image, hViewPort, encoding, name);
  });
}

HRESULT COndrelImpl::SaveImageAsDICOMFile(HWND hViewPort, BSTR bstrFileName, IImageInfoNW* pImgInfo) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(bstrFileName), Pointer(pImgInfo)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    const std::u16string name(bstrFileName, SysStringLen(bstrFileName));
    ::SaveImageAsDICOMFile(hViewPort, name.c_str(), std::make_unique<ImageInfoWStationStrategy>(pImgInfo));
  });
}

HRESULT COndrelImpl::SaveConsultImage(HWND hViewPort, IImageInfoNW* pConsultImageInfo) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pConsultImageInfo)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    ImageInfoWStationStrategy strategy(pConsultImageInfo);
    Image* image = core_.Renderer().GetCurrentImage(hViewPort);
    if (image != nullptr) ::SaveConsultImage(*image, hViewPort, &strategy);
  });
}

HRESULT COndrelImpl::ImportImageAsDICOMFile(BSTR bstrFileName, IImageInfoNW* pImgInfo) {
  const HRESULT checked = core_.Check({Pointer(bstrFileName), Pointer(pImgInfo)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    const std::u16string name(bstrFileName, SysStringLen(bstrFileName));
    ::ImportImageAsDICOMFile(name.c_str(), std::make_unique<ImageInfoWStationStrategy>(pImgInfo));
  });
}

// The rectangle is not used: the whole client area is captured.
HRESULT COndrelImpl::GetImageHBITMAP(HWND hViewPort, LONG left, LONG top, LONG right, LONG bottom,
                                     HBITMAP* phBitmap) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(phBitmap)});
  if (FAILED(checked)) return checked;
  *phBitmap = nullptr;
  return core_.Frame([&] {
    Image* image = core_.Renderer().GetCurrentImage(hViewPort);
    RECT rectangle{left, top, right, bottom};
    if (image != nullptr) *phBitmap = CaptureImageBitmap(*image, hViewPort, rectangle);
  });
}

HRESULT COndrelImpl::ReleaseHBITMAP(HWND hViewPort) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    Image* image = core_.Renderer().GetCurrentImage(hViewPort);
    if (image != nullptr) ReleaseCapturedBitmap(*image);
  });
}

// The window and the row and column pointers are checked further in, by the renderer and the image.
HRESULT COndrelImpl::GetImageCurrentPixelData(HWND hViewPort, BSTR bstrSopInstUID, SHORT nFrameIdx, SAFEARRAY** ppData,
                                              LONG* pPixelsRows, LONG* pPixelsColumns, VARIANT_BOOL* pbColor) {
  const HRESULT checked = core_.Check({Pointer(bstrSopInstUID), Pointer(ppData), Pointer(pbColor)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    const std::u16string uid(bstrSopInstUID, SysStringLen(bstrSopInstUID));
    Image* image = core_.Renderer().FindImage(hViewPort, uid.c_str(), nFrameIdx);
    if (image == nullptr) THROW_MY_EXCEPTION("The Image Renderer can't find the image.");
    ::GetImageCurrentPixelData(*image, ppData, pPixelsRows, pPixelsColumns, pbColor);
  });
}

HRESULT COndrelImpl::SetReferenceLinesMode(ReferenceLinesEnum mode) {
  ::SetReferenceLinesMode(mode);
  return S_OK;
}

HRESULT COndrelImpl::GetReferenceLinesMode(ReferenceLinesEnum* pMode) {
  const HRESULT checked = core_.Check({Pointer(pMode)});
  if (FAILED(checked)) return checked;
  *pMode = ReferenceLinesMode();
  return S_OK;
}

HRESULT COndrelImpl::CalculateReferenceLines(HWND hProjectedViewPort, HWND hProjecteeViewPort) {
  const HRESULT checked = core_.Check({WindowHandle(hProjectedViewPort), WindowHandle(hProjecteeViewPort)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] { core_.Renderer().CalculateReferenceLines(hProjectedViewPort, hProjecteeViewPort); });
}

HRESULT COndrelImpl::SetSynchronizeSeriesMode(SynchronizeSeriesEnum mode) {
  core_.Renderer().Synchronization().SetMode(mode);
  return S_OK;
}

HRESULT COndrelImpl::GetSynchronizeSeriesMode(SynchronizeSeriesEnum* pMode) {
  const HRESULT checked = core_.Check({Pointer(pMode)});
  if (FAILED(checked)) return checked;
  *pMode = core_.Renderer().Synchronization().Mode();
  return S_OK;
}

HRESULT COndrelImpl::SynchronizeSeries(HWND hCrtViewPort, HWND hSynchViewPort, VARIANT_BOOL bKeepPresIntent) {
  const HRESULT checked = core_.Check({WindowHandle(hCrtViewPort), WindowHandle(hSynchViewPort)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    core_.Renderer().SynchronizeSeries(hCrtViewPort, hSynchViewPort, bKeepPresIntent == VARIANT_TRUE);
  });
}

HRESULT COndrelImpl::CalculateSynchronizeSeriesOffset(HWND hCrtViewPort, HWND hSynchViewPort) {
  const HRESULT checked = core_.Check({WindowHandle(hCrtViewPort), WindowHandle(hSynchViewPort)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] { core_.Renderer().CalculateSynchronizeSeriesOffset(hCrtViewPort, hSynchViewPort); });
}

