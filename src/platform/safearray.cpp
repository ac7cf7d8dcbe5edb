// One-dimensional SAFEARRAYs in one block: a hidden header holding the element type, the descriptor
// in the Windows shape, then the elements. As on Windows the element type sits in the four bytes just
// before the descriptor.
#include "ondrel/platform/safearray.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "com_bstr_copy.h"
#include "ondrel/platform/com.h"

namespace {

using ondrel::platform::detail::CopyBStr;

// Feature flags with their Windows values, for hosts that read the descriptor.
constexpr USHORT FADF_HAVEVARTYPE = 0x0080;
constexpr USHORT FADF_BSTR = 0x0100;
constexpr USHORT FADF_UNKNOWN = 0x0200;
constexpr USHORT FADF_DISPATCH = 0x0400;
constexpr USHORT FADF_CREATEVECTOR = 0x2000;

struct alignas(16) HiddenHeader {
  BYTE unused[12];
  DWORD vartype;
};
static_assert(sizeof(HiddenHeader) == 16);

constexpr std::size_t RoundUp(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }
constexpr std::size_t kDescriptorOffset = sizeof(HiddenHeader);
constexpr std::size_t kDataOffset = RoundUp(kDescriptorOffset + sizeof(SAFEARRAY), alignof(std::max_align_t));

struct ElementType {
  ULONG size;
  USHORT features;
};

// Size and flags of a supported element type; size 0 for the others.
ElementType ElementTypeOf(VARTYPE vt) {
  switch (vt) {
    case VT_I1:
    case VT_UI1:
      return {1, 0};
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return {2, 0};
    case VT_I4:
    case VT_UI4:
    case VT_R4:
      return {4, 0};
    case VT_R8:
    case VT_DATE:
      return {8, 0};
    case VT_BSTR:
      return {sizeof(BSTR), FADF_BSTR};
    case VT_UNKNOWN:
      return {sizeof(IUnknown*), FADF_UNKNOWN};
    case VT_DISPATCH:
      return {sizeof(IUnknown*), FADF_DISPATCH};
    default:
      return {0, 0};
  }
}

char* BlockOf(SAFEARRAY* psa) { return reinterpret_cast<char*>(psa) - kDescriptorOffset; }

VARTYPE VartypeOf(SAFEARRAY* psa) {
  return static_cast<VARTYPE>(reinterpret_cast<HiddenHeader*>(BlockOf(psa))->vartype);
}

bool HoldsInterfaces(VARTYPE vt) { return vt == VT_UNKNOWN || vt == VT_DISPATCH; }

std::atomic_ref<ULONG> Locks(SAFEARRAY* psa) { return std::atomic_ref<ULONG>(psa->cLocks); }

// Keeps the array from being destroyed while one element is read or written, as Windows does.
class ElementLock {
 public:
  explicit ElementLock(SAFEARRAY* psa) : psa_(psa) { ++Locks(psa_); }
  ~ElementLock() { --Locks(psa_); }
  ElementLock(const ElementLock&) = delete;
  ElementLock& operator=(const ElementLock&) = delete;

 private:
  SAFEARRAY* psa_;
};

// The element at *index, or null outside the bounds.
void* ElementAt(SAFEARRAY* psa, LONG index) {
  const std::int64_t offset = std::int64_t{index} - psa->rgsabound[0].lLbound;
  if (offset < 0 || offset >= psa->rgsabound[0].cElements) return nullptr;
  return static_cast<char*>(psa->pvData) + static_cast<std::size_t>(offset) * psa->cbElements;
}

HRESULT GetBound(SAFEARRAY* psa, UINT nDim, LONG* bound, bool upper) {
  if (psa == nullptr || bound == nullptr) return E_INVALIDARG;
  if (nDim != 1) return DISP_E_BADINDEX;
  const SAFEARRAYBOUND& b = psa->rgsabound[0];
  // An empty vector's upper bound is one below its lower bound; it wraps like the Windows value does
  // when the lower bound is the smallest LONG.
  *bound = upper ? static_cast<LONG>(std::int64_t{b.lLbound} + b.cElements - 1) : b.lLbound;
  return S_OK;
}

}  // namespace

SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements) {
  const ElementType type = ElementTypeOf(vt);
  if (type.size == 0) return nullptr;
  if (cElements > (SIZE_MAX - kDataOffset) / type.size) return nullptr;
  // calloc zeroes the elements, so BSTR and interface elements start out null.
  auto* block = static_cast<char*>(std::calloc(1, kDataOffset + std::size_t{cElements} * type.size));
  if (block == nullptr) return nullptr;
  reinterpret_cast<HiddenHeader*>(block)->vartype = vt;
  auto* psa = reinterpret_cast<SAFEARRAY*>(block + kDescriptorOffset);
  psa->cDims = 1;
  psa->fFeatures = static_cast<USHORT>(FADF_CREATEVECTOR | FADF_HAVEVARTYPE | type.features);
  psa->cbElements = type.size;
  psa->cLocks = 0;
  psa->pvData = block + kDataOffset;
  psa->rgsabound[0] = {cElements, lLbound};
  return psa;
}

HRESULT SafeArrayDestroy(SAFEARRAY* psa) {
  if (psa == nullptr) return S_OK;
  if (Locks(psa).load() != 0) return DISP_E_ARRAYISLOCKED;
  const VARTYPE vt = VartypeOf(psa);
  const ULONG count = psa->rgsabound[0].cElements;
  if (vt == VT_BSTR) {
    auto* elements = static_cast<BSTR*>(psa->pvData);
    for (ULONG i = 0; i < count; ++i) SysFreeString(elements[i]);
  } else if (HoldsInterfaces(vt)) {
    auto* elements = static_cast<IUnknown**>(psa->pvData);
    for (ULONG i = 0; i < count; ++i)
      if (elements[i] != nullptr) elements[i]->Release();
  }
  std::free(BlockOf(psa));
  return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY* psa) { return psa == nullptr ? 0 : psa->cDims; }

UINT SafeArrayGetElemsize(SAFEARRAY* psa) { return psa == nullptr ? 0 : psa->cbElements; }

HRESULT SafeArrayGetVartype(SAFEARRAY* psa, VARTYPE* pvt) {
  if (psa == nullptr || pvt == nullptr) return E_INVALIDARG;
  *pvt = VartypeOf(psa);
  return S_OK;
}

HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT nDim, LONG* plLbound) {
  return GetBound(psa, nDim, plLbound, false);
}

HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT nDim, LONG* plUbound) {
  return GetBound(psa, nDim, plUbound, true);
}

HRESULT SafeArrayGetElement(SAFEARRAY* psa, LONG* rgIndices, void* pv) {
  if (psa == nullptr || rgIndices == nullptr || pv == nullptr) return E_INVALIDARG;
  void* element = ElementAt(psa, *rgIndices);
  if (element == nullptr) return DISP_E_BADINDEX;
  ElementLock lock(psa);
  const VARTYPE vt = VartypeOf(psa);
  if (vt == VT_BSTR) return CopyBStr(*static_cast<BSTR*>(element), static_cast<BSTR*>(pv)) ? S_OK : E_OUTOFMEMORY;
  if (HoldsInterfaces(vt)) {
    IUnknown* object = *static_cast<IUnknown**>(element);
    if (object != nullptr) object->AddRef();
    *static_cast<IUnknown**>(pv) = object;
    return S_OK;
  }
  std::memcpy(pv, element, psa->cbElements);
  return S_OK;
}

HRESULT SafeArrayPutElement(SAFEARRAY* psa, LONG* rgIndices, void* pv) {
  if (psa == nullptr || rgIndices == nullptr) return E_INVALIDARG;
  const VARTYPE vt = VartypeOf(psa);
  const bool pointerElement = vt == VT_BSTR || HoldsInterfaces(vt);
  if (pv == nullptr && !pointerElement) return E_INVALIDARG;
  void* element = ElementAt(psa, *rgIndices);
  if (element == nullptr) return DISP_E_BADINDEX;
  ElementLock lock(psa);
  if (vt == VT_BSTR) {
    BSTR copy;
    if (!CopyBStr(static_cast<BSTR>(pv), &copy)) return E_OUTOFMEMORY;
    SysFreeString(std::exchange(*static_cast<BSTR*>(element), copy));
    return S_OK;
  }
  if (HoldsInterfaces(vt)) {
    // AddRef before the old element is released, in case both are the same object.
    auto* object = static_cast<IUnknown*>(pv);
    if (object != nullptr) object->AddRef();
    if (IUnknown* old = std::exchange(*static_cast<IUnknown**>(element), object)) old->Release();
    return S_OK;
  }
  std::memcpy(element, pv, psa->cbElements);
  return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** ppvData) {
  if (psa == nullptr || ppvData == nullptr) return E_INVALIDARG;
  ++Locks(psa);
  *ppvData = psa->pvData;
  return S_OK;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY* psa) {
  if (psa == nullptr) return E_INVALIDARG;
  std::atomic_ref<ULONG> locks = Locks(psa);
  ULONG held = locks.load();
  do {
    if (held == 0) return E_UNEXPECTED;
  } while (!locks.compare_exchange_weak(held, held - 1));
  return S_OK;
}
