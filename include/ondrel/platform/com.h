// The component object model of the platform layer: GUIDs, IUnknown with the standard vtable layout,
// class factories, the process-wide class table behind CoCreateInstance, task memory, a reference-
// counted base for our classes and a smart pointer.
//
// IUnknown's three methods are its only virtual functions, declared in COM order, so under the Itanium
// C++ ABI an interface pointer points at a pointer to [QueryInterface, AddRef, Release, ...] exactly as
// on Windows, and a COM-capable host can bind to our interfaces.
#pragma once

#include <atomic>
#include <cstring>
#include <new>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "ondrel/platform/wintypes.h"

struct GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];

  friend constexpr bool operator==(const GUID& a, const GUID& b) {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
    for (int i = 0; i < 8; ++i)
      if (a.Data4[i] != b.Data4[i]) return false;
    return true;
  }
  friend constexpr bool operator<(const GUID& a, const GUID& b) {
    if (a.Data1 != b.Data1) return a.Data1 < b.Data1;
    if (a.Data2 != b.Data2) return a.Data2 < b.Data2;
    if (a.Data3 != b.Data3) return a.Data3 < b.Data3;
    for (int i = 0; i < 8; ++i)
      if (a.Data4[i] != b.Data4[i]) return a.Data4[i] < b.Data4[i];
    return false;
  }
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
using LPCLSID = CLSID*;

inline constexpr GUID GUID_NULL{};

namespace ondrel::platform::detail {
constexpr unsigned HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  throw "GUID text holds a character that is not a hexadecimal digit";
}
constexpr unsigned long long HexField(std::string_view text, std::size_t at, std::size_t digits) {
  unsigned long long value = 0;
  for (std::size_t i = 0; i < digits; ++i) value = value * 16 + HexDigit(text[at + i]);
  return value;
}
}  // namespace ondrel::platform::detail

// A GUID from its registry form without braces, "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx". Used in constant
// expressions, where a malformed text fails to compile.
constexpr GUID MakeGuid(std::string_view text) {
  using ondrel::platform::detail::HexField;
  if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-')
    throw "GUID text is not of the form xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  GUID guid{};
  guid.Data1 = static_cast<DWORD>(HexField(text, 0, 8));
  guid.Data2 = static_cast<WORD>(HexField(text, 9, 4));
  guid.Data3 = static_cast<WORD>(HexField(text, 14, 4));
  guid.Data4[0] = static_cast<BYTE>(HexField(text, 19, 2));
  guid.Data4[1] = static_cast<BYTE>(HexField(text, 21, 2));
  for (int i = 0; i < 6; ++i) guid.Data4[2 + i] = static_cast<BYTE>(HexField(text, 24 + 2 * i, 2));
  return guid;
}

inline bool IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }
inline bool IsEqualIID(REFIID a, REFIID b) { return a == b; }
inline bool IsEqualCLSID(REFCLSID a, REFCLSID b) { return a == b; }

// Writes "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (upper case, with its terminating null) into `text`.
// Returns the characters written including the null, or 0 when `capacity` is below 39.
int StringFromGUID2(REFGUID guid, LPOLESTR text, int capacity);
// Reads a GUID in braces as StringFromGUID2 writes it (either case). CO_E_CLASSSTRING when malformed,
// E_POINTER on a null argument.
HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid);

// Interfaces name their identifier as kIid and, except IUnknown, the interface they extend as
// BaseInterface, so that QueryInterface answers for the whole chain.
struct IUnknown {
  static constexpr IID kIid = MakeGuid("00000000-0000-0000-C000-000000000046");
  virtual HRESULT QueryInterface(REFIID riid, void** ppvObject) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  ~IUnknown() = default;  // objects are destroyed by Release, never through an interface pointer
};
using LPUNKNOWN = IUnknown*;

struct IClassFactory : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("00000001-0000-0000-C000-000000000046");
  virtual HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) = 0;
  virtual HRESULT LockServer(BOOL fLock) = 0;

 protected:
  ~IClassFactory() = default;
};

inline constexpr IID IID_IUnknown = IUnknown::kIid;
inline constexpr IID IID_IClassFactory = IClassFactory::kIid;

template <class Interface>
constexpr const IID& IidOf() {
  return Interface::kIid;
}

// Class contexts. Every class of the table is in-process; the context argument is accepted and ignored.
inline constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
inline constexpr DWORD CLSCTX_INPROC_HANDLER = 0x2;
inline constexpr DWORD CLSCTX_LOCAL_SERVER = 0x4;
inline constexpr DWORD CLSCTX_ALL = 0x17;

// Creates an object of a class in the process-wide class table and asks it for `riid`.
// Fails with E_POINTER when ppv is null, CLASS_E_NOAGGREGATION (0x80040110) when pUnkOuter is not null
// (no class of ours can be aggregated), REGDB_E_CLASSNOTREG (0x80040154) when the class is not in the
// table, and otherwise with what the class factory answers. *ppv is null on every failure.
HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD dwClsContext, REFIID riid, void** ppv);
// The class factory of a class in the table; REGDB_E_CLASSNOTREG when absent.
HRESULT CoGetClassObject(REFCLSID rclsid, DWORD dwClsContext, void* pvReserved, REFIID riid, void** ppv);
// The program identifier a class was registered with, in memory from CoTaskMemAlloc that the caller frees
// with CoTaskMemFree. REGDB_E_CLASSNOTREG for an unknown class, or a known class registered without one.
HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR* lplpszProgID);
// The class registered under a program identifier; CO_E_CLASSSTRING when there is none.
HRESULT CLSIDFromProgID(LPCOLESTR lpszProgID, LPCLSID lpclsid);

// The class table itself, the registry of this platform: libraries add their classes here (the core
// from DllRegisterServer, the workstation objects from their own registration). Registering a class
// again replaces its entry. The table holds a reference on the factory until the class is removed.
// Fail with E_POINTER on a null factory.
HRESULT RegisterClassInTable(REFCLSID clsid, LPCOLESTR progId, IClassFactory* factory);
// Removes a class; S_FALSE when it was not there.
HRESULT RemoveClassFromTable(REFCLSID clsid);

// Task memory, as the out-parameters of COM calls use it.
void* CoTaskMemAlloc(std::size_t cb);
void* CoTaskMemRealloc(void* pv, std::size_t cb);
void CoTaskMemFree(void* pv);

namespace ondrel::platform {

// Live objects made with ComObject (class factories excepted) plus factory locks, for DllCanUnloadNow.
long ComObjectsAndLocks();
void AddComModuleLock();
void ReleaseComModuleLock();

template <class Interface>
bool InterfaceChainMatches(REFIID riid) {
  if (riid == Interface::kIid) return true;
  if constexpr (requires { typename Interface::BaseInterface; })
    return InterfaceChainMatches<typename Interface::BaseInterface>(riid);
  else
    return false;
}

// The reusable base of our COM classes: reference counting, and QueryInterface over the interfaces it
// is given (each with the interfaces they extend). IUnknown resolves to the first interface, so that
// every query for IUnknown gives the same pointer, COM's identity rule. An object starts with a count of
// zero; whoever creates it takes the first reference (ComPtr<T>::Make, or a factory's QueryInterface).
template <class... Interfaces>
class ComObject : public Interfaces... {
  static_assert(sizeof...(Interfaces) > 0, "a COM object implements at least one interface");
  using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;

 public:
  HRESULT QueryInterface(REFIID riid, void** ppvObject) override {
    if (ppvObject == nullptr) return E_POINTER;
    *ppvObject = nullptr;
    if (riid == IID_IUnknown) {
      *ppvObject = static_cast<IUnknown*>(static_cast<First*>(this));
    } else {
      ((*ppvObject == nullptr && InterfaceChainMatches<Interfaces>(riid)
            ? (void)(*ppvObject = static_cast<Interfaces*>(this))
            : (void)0),
       ...);
    }
    if (*ppvObject == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return ++references_; }
  ULONG Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  ComObject() { AddComModuleLock(); }
  // Class factories live in the class table for the whole process and do not keep the module loaded.
  struct NotCounted {};
  explicit ComObject(NotCounted) : counted_(false) {}
  virtual ~ComObject() {
    if (counted_) ReleaseComModuleLock();
  }
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

 private:
  std::atomic<ULONG> references_{0};
  bool counted_ = true;
};

// An owning interface pointer: AddRef on copy, Release on destruction, as WRL's ComPtr.
template <class T>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(std::nullptr_t) {}
  ComPtr(T* p) : p_(p) {  // takes a new reference
    if (p_) p_->AddRef();
  }
  ComPtr(const ComPtr& other) : ComPtr(other.p_) {}
  ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  ~ComPtr() { Reset(); }
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(p_, other.p_);
    return *this;
  }

  // Makes a new object of a ComObject class and holds its first reference.
  template <class... Args>
  static ComPtr Make(Args&&... args) {
    ComPtr result;
    result.p_ = new T(std::forward<Args>(args)...);
    result.p_->AddRef();
    return result;
  }

  T* Get() const { return p_; }
  T* operator->() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }
  // The address of the pointer for an out-parameter; the caller must hold nothing (see ReleaseAndGetAddressOf).
  T** GetAddressOf() { return &p_; }
  T** ReleaseAndGetAddressOf() {
    Reset();
    return &p_;
  }
  void Reset() {
    if (T* p = std::exchange(p_, nullptr)) p->Release();
  }
  // Takes over a reference the caller owns.
  void Attach(T* p) {
    Reset();
    p_ = p;
  }
  // Gives up the reference without releasing it.
  T* Detach() { return std::exchange(p_, nullptr); }
  // QueryInterface for another interface into `other`.
  template <class U>
  HRESULT As(ComPtr<U>* other) const {
    if (p_ == nullptr) return E_POINTER;
    return p_->QueryInterface(IidOf<U>(), reinterpret_cast<void**>(other->ReleaseAndGetAddressOf()));
  }
  // Copies the pointer to an out-parameter with a new reference.
  HRESULT CopyTo(T** out) const {
    if (out == nullptr) return E_POINTER;
    *out = p_;
    if (p_) p_->AddRef();
    return S_OK;
  }

 private:
  T* p_ = nullptr;
};

// A class factory for a ComObject class that has a default constructor, and optionally a
// FinalConstruct() that finishes creation and answers an HRESULT (a failure is the factory's answer).
template <class T>
class ClassFactory final : public ComObject<IClassFactory> {
 public:
  ClassFactory() : ComObject(NotCounted{}) {}

  HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) override {
    if (ppvObject == nullptr) return E_POINTER;
    *ppvObject = nullptr;
    if (pUnkOuter != nullptr) return CLASS_E_NOAGGREGATION;
    T* object = new (std::nothrow) T();
    if (object == nullptr) return E_OUTOFMEMORY;
    object->AddRef();
    // A class whose creation can fail does it in FinalConstruct, which answers an HRESULT.
    HRESULT hr = S_OK;
    if constexpr (requires { object->FinalConstruct(); }) hr = object->FinalConstruct();
    if (SUCCEEDED(hr)) hr = object->QueryInterface(riid, ppvObject);
    object->Release();
    return hr;
  }
  HRESULT LockServer(BOOL fLock) override {
    if (fLock)
      AddComModuleLock();
    else
      ReleaseComModuleLock();
    return S_OK;
  }
};

// Adds class T to the class table with a ClassFactory<T>.
template <class T>
HRESULT RegisterComClass(REFCLSID clsid, LPCOLESTR progId) {
  ComPtr<IClassFactory> factory = ComPtr<ClassFactory<T>>::Make().Get();
  return RegisterClassInTable(clsid, progId, factory.Get());
}

}  // namespace ondrel::platform
