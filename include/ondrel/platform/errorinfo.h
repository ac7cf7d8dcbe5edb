// Error information: the text and source that a failed COM call leaves for its caller on the calling
// thread. Each thread holds at most one current error object; GetErrorInfo takes it and clears it.
#pragma once

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"

struct IErrorInfo : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("1CF2B120-547D-101B-8E65-08002B2BD119");
  virtual HRESULT GetGUID(GUID* pGUID) = 0;
  virtual HRESULT GetSource(BSTR* pBstrSource) = 0;
  virtual HRESULT GetDescription(BSTR* pBstrDescription) = 0;
  virtual HRESULT GetHelpFile(BSTR* pBstrHelpFile) = 0;
  virtual HRESULT GetHelpContext(DWORD* pdwHelpContext) = 0;

 protected:
  ~IErrorInfo() = default;
};

struct ICreateErrorInfo : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("22F03340-547D-101B-8E65-08002B2BD119");
  virtual HRESULT SetGUID(REFGUID rguid) = 0;
  virtual HRESULT SetSource(LPOLESTR szSource) = 0;
  virtual HRESULT SetDescription(LPOLESTR szDescription) = 0;
  virtual HRESULT SetHelpFile(LPOLESTR szHelpFile) = 0;
  virtual HRESULT SetHelpContext(DWORD dwHelpContext) = 0;

 protected:
  ~ICreateErrorInfo() = default;
};

struct ISupportErrorInfo : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("DF0B3D60-548F-101B-8E65-08002B2BD119");
  // S_OK when the object sets error information for failures of interface `riid`, else S_FALSE.
  virtual HRESULT InterfaceSupportsErrorInfo(REFIID riid) = 0;

 protected:
  ~ISupportErrorInfo() = default;
};

inline constexpr IID IID_IErrorInfo = IErrorInfo::kIid;
inline constexpr IID IID_ICreateErrorInfo = ICreateErrorInfo::kIid;
inline constexpr IID IID_ISupportErrorInfo = ISupportErrorInfo::kIid;

// A new, empty error object (it answers both ICreateErrorInfo and IErrorInfo). E_POINTER on null.
// Setting a null text stores a null BSTR, which the getters hand back as null.
HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo);
// Makes `perrinfo` (null clears) the calling thread's error object, holding a reference on it.
// E_INVALIDARG when `dwReserved` is not 0.
HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo);
// Takes the calling thread's error object: S_OK and the object (the caller releases it), or S_FALSE and
// null when there is none. Either way the thread holds none afterwards. E_POINTER on a null out-pointer;
// E_INVALIDARG, with the thread's object left in place, when `dwReserved` is not 0.
HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo);
