#include "entry/entry_frame.h"

#include "ondrel/platform/errorinfo.h"

namespace entry {

HRESULT ReportError(REFCLSID clsid, REFIID iid, const char16_t* text, HRESULT code) {
  const HRESULT result = code != 0 ? code : DISP_E_EXCEPTION;
  ondrel::platform::ComPtr<ICreateErrorInfo> create;
  if (FAILED(CreateErrorInfo(create.GetAddressOf()))) return result;
  create->SetGUID(iid);
  LPOLESTR progId = nullptr;
  if (SUCCEEDED(ProgIDFromCLSID(clsid, &progId))) {
    create->SetSource(progId);
    CoTaskMemFree(progId);
  }
  create->SetDescription(const_cast<LPOLESTR>(text));
  ondrel::platform::ComPtr<IErrorInfo> info;
  if (SUCCEEDED(create.As(&info))) SetErrorInfo(0, info.Get());
  return result;
}

}  // namespace entry
