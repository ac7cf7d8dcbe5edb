// The error object and the calling thread's current one.
#include "ondrel/platform/errorinfo.h"

#include "com_bstr_copy.h"

namespace {

using ondrel::platform::ComObject;
using ondrel::platform::ComPtr;
using ondrel::platform::detail::CopyBStr;

class ErrorObject final : public ComObject<ICreateErrorInfo, IErrorInfo> {
 public:
  // Error objects belong to the platform, not to the library that reported the failure: one left
  // unread on a thread must not keep that library loaded.
  ErrorObject() : ComObject(NotCounted{}) {}
  ~ErrorObject() override {
    SysFreeString(source_);
    SysFreeString(description_);
    SysFreeString(helpFile_);
  }

  HRESULT SetGUID(REFGUID rguid) override {
    guid_ = rguid;
    return S_OK;
  }
  HRESULT SetSource(LPOLESTR szSource) override { return Store(szSource, &source_); }
  HRESULT SetDescription(LPOLESTR szDescription) override { return Store(szDescription, &description_); }
  HRESULT SetHelpFile(LPOLESTR szHelpFile) override { return Store(szHelpFile, &helpFile_); }
  HRESULT SetHelpContext(DWORD dwHelpContext) override {
    helpContext_ = dwHelpContext;
    return S_OK;
  }

  HRESULT GetGUID(GUID* pGUID) override {
    if (pGUID == nullptr) return E_POINTER;
    *pGUID = guid_;
    return S_OK;
  }
  HRESULT GetSource(BSTR* pBstrSource) override { return Copy(source_, pBstrSource); }
  HRESULT GetDescription(BSTR* pBstrDescription) override { return Copy(description_, pBstrDescription); }
  HRESULT GetHelpFile(BSTR* pBstrHelpFile) override { return Copy(helpFile_, pBstrHelpFile); }
  HRESULT GetHelpContext(DWORD* pdwHelpContext) override {
    if (pdwHelpContext == nullptr) return E_POINTER;
    *pdwHelpContext = helpContext_;
    return S_OK;
  }

 private:
  static HRESULT Store(LPCOLESTR text, BSTR* field) {
    return SysReAllocString(field, text) ? S_OK : E_OUTOFMEMORY;
  }
  // Each getter hands out a new BSTR that the caller frees; the object keeps its own.
  static HRESULT Copy(BSTR field, BSTR* out) {
    if (out == nullptr) return E_POINTER;
    return CopyBStr(field, out) ? S_OK : E_OUTOFMEMORY;
  }

  GUID guid_{};
  BSTR source_ = nullptr;
  BSTR description_ = nullptr;
  BSTR helpFile_ = nullptr;
  DWORD helpContext_ = 0;
};

thread_local ComPtr<IErrorInfo> currentErrorInfo;

}  // namespace

HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo) {
  if (pperrinfo == nullptr) return E_POINTER;
  *pperrinfo = nullptr;
  auto* object = new (std::nothrow) ErrorObject();
  if (object == nullptr) return E_OUTOFMEMORY;
  object->AddRef();
  const HRESULT hr = object->QueryInterface(IID_ICreateErrorInfo, reinterpret_cast<void**>(pperrinfo));
  object->Release();
  return hr;
}

HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo) {
  if (dwReserved != 0) return E_INVALIDARG;
  // The old object is released after the new one is in place, so its destructor sees a settled state.
  ComPtr<IErrorInfo> previous = std::exchange(currentErrorInfo, ComPtr<IErrorInfo>(perrinfo));
  return S_OK;
}

HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo) {
  if (pperrinfo == nullptr) return E_POINTER;
  *pperrinfo = nullptr;
  if (dwReserved != 0) return E_INVALIDARG;
  *pperrinfo = currentErrorInfo.Detach();
  return *pperrinfo != nullptr ? S_OK : S_FALSE;
}
