// One-dimensional SAFEARRAYs, the subset of the OLE automation calls the core and the workstation
// objects use: vectors of bytes, numbers, BSTRs and interface pointers.
//
// Element ownership follows Windows: SafeArrayPutElement copies (a BSTR is duplicated, an interface
// pointer AddRef'ed); SafeArrayGetElement hands the caller its own copy (a new BSTR, an AddRef'ed
// pointer); SafeArrayDestroy frees or releases what the array holds.
#pragma once

#include "ondrel/platform/wintypes.h"

using VARTYPE = USHORT;
enum VARENUM : VARTYPE {
  VT_EMPTY = 0,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_R4 = 4,
  VT_R8 = 5,
  VT_DATE = 7,
  VT_BSTR = 8,
  VT_DISPATCH = 9,
  VT_BOOL = 11,
  VT_UNKNOWN = 13,
  VT_I1 = 16,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
};

struct SAFEARRAYBOUND {
  ULONG cElements;
  LONG lLbound;
};

struct SAFEARRAY {
  USHORT cDims;
  USHORT fFeatures;
  ULONG cbElements;
  ULONG cLocks;
  void* pvData;
  SAFEARRAYBOUND rgsabound[1];
};
using LPSAFEARRAY = SAFEARRAY*;

inline constexpr HRESULT DISP_E_ARRAYISLOCKED = MakeHResult(0x8002000D);
inline constexpr HRESULT DISP_E_BADVARTYPE = MakeHResult(0x80020008);

// A vector of `cElements` zeroed elements of type `vt`, indexed from `lLbound`; null for an unsupported
// type or when memory runs out.
SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements);
// Frees an array made by SafeArrayCreateVector and what it holds. DISP_E_ARRAYISLOCKED while SafeArrayAccessData is in force; S_OK on null.
HRESULT SafeArrayDestroy(SAFEARRAY* psa);
// Dimensions (1) and element size in bytes; 0 for a null array.
UINT SafeArrayGetDim(SAFEARRAY* psa);
UINT SafeArrayGetElemsize(SAFEARRAY* psa);
// The element type the array was created with; E_INVALIDARG on null arguments.
HRESULT SafeArrayGetVartype(SAFEARRAY* psa, VARTYPE* pvt);
// Bounds of dimension `nDim` (1 only). An empty vector has an upper bound one below its lower bound.
// DISP_E_BADINDEX for another dimension, E_INVALIDARG for a null array.
HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT nDim, LONG* plLbound);
HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT nDim, LONG* plUbound);
// Element at *rgIndices. DISP_E_BADINDEX outside the bounds; E_INVALIDARG on null arguments.
// GetElement writes the element to where `pv` points. For PutElement, as on Windows, `pv` of a VT_BSTR,
// VT_UNKNOWN or VT_DISPATCH array is the BSTR or interface pointer itself (null stores null); for the
// other types it points at the value. E_OUTOFMEMORY when a BSTR can't be copied.
HRESULT SafeArrayGetElement(SAFEARRAY* psa, LONG* rgIndices, void* pv);
HRESULT SafeArrayPutElement(SAFEARRAY* psa, LONG* rgIndices, void* pv);
// The element block, locked against destruction until SafeArrayUnaccessData; the locks nest.
// E_INVALIDARG on null arguments; SafeArrayUnaccessData gives E_UNEXPECTED when the array is not locked.
HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** ppvData);
HRESULT SafeArrayUnaccessData(SAFEARRAY* psa);
