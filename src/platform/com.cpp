// GUID text, the process-wide class table behind CoCreateInstance, task memory and the module's
// object count.
#include "ondrel/platform/com.h"

#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

namespace {

constexpr char16_t kHexDigits[] = u"0123456789ABCDEF";

// Characters of "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" without the terminating null.
constexpr int kGuidTextLength = 38;
// Where the dashes stand in that text.
constexpr bool IsDashPosition(int i) { return i == 9 || i == 14 || i == 19 || i == 24; }

// The sixteen bytes of a GUID in the order its text shows them.
void GuidBytes(const GUID& guid, BYTE (&bytes)[16]) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<BYTE>(guid.Data1 >> (24 - 8 * i));
  for (int i = 0; i < 2; ++i) bytes[4 + i] = static_cast<BYTE>(guid.Data2 >> (8 - 8 * i));
  for (int i = 0; i < 2; ++i) bytes[6 + i] = static_cast<BYTE>(guid.Data3 >> (8 - 8 * i));
  for (int i = 0; i < 8; ++i) bytes[8 + i] = guid.Data4[i];
}

int HexValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// Program identifiers are compared without regard to ASCII case, as the registry compares its keys.
std::u16string ProgIdKey(std::u16string_view progId) {
  std::u16string key(progId);
  for (char16_t& c : key)
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
  return key;
}

using ondrel::platform::ComPtr;

struct ClassEntry {
  std::u16string progId;  // empty when the class was registered without one
  ComPtr<IClassFactory> factory;
};

struct ClassTable {
  std::mutex mutex;
  std::map<CLSID, ClassEntry> classes;
  std::map<std::u16string, CLSID> progIds;  // keyed by ProgIdKey

  // The class's factory with a reference of the caller's own, so that the class may be removed while
  // the caller uses it; null when the class is absent.
  ComPtr<IClassFactory> Factory(REFCLSID clsid) {
    std::lock_guard lock(mutex);
    const auto found = classes.find(clsid);
    return found == classes.end() ? nullptr : found->second.factory;
  }

  // Forgets the ProgID of an entry that is leaving, unless another class has taken it since.
  void ForgetProgId(REFCLSID clsid, const ClassEntry& entry) {
    if (entry.progId.empty()) return;
    const auto found = progIds.find(ProgIdKey(entry.progId));
    if (found != progIds.end() && found->second == clsid) progIds.erase(found);
  }
};

ClassTable& Table() {
  static ClassTable table;
  return table;
}

std::atomic<long> objectsAndLocks{0};

}  // namespace

int StringFromGUID2(REFGUID guid, LPOLESTR text, int capacity) {
  if (text == nullptr || capacity < kGuidTextLength + 1) return 0;
  BYTE bytes[16];
  GuidBytes(guid, bytes);
  int out = 0;
  text[out++] = u'{';
  for (int i = 0; i < 16; ++i) {
    if (IsDashPosition(out)) text[out++] = u'-';
    text[out++] = kHexDigits[bytes[i] >> 4];
    text[out++] = kHexDigits[bytes[i] & 0x0F];
  }
  text[out++] = u'}';
  text[out++] = u'\0';
  return out;
}

HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid) {
  if (text == nullptr || clsid == nullptr) return E_POINTER;
  BYTE bytes[16];
  int byte = 0;
  // Reads at most one character past the closing brace, which must be the terminating null.
  for (int i = 0; i < kGuidTextLength; ++i) {
    const char16_t c = text[i];
    if (i == 0) {
      if (c != u'{') return CO_E_CLASSSTRING;
    } else if (i == kGuidTextLength - 1) {
      if (c != u'}') return CO_E_CLASSSTRING;
    } else if (IsDashPosition(i)) {
      if (c != u'-') return CO_E_CLASSSTRING;
    } else {
      const int high = HexValue(c);
      if (high < 0) return CO_E_CLASSSTRING;
      const int low = HexValue(text[++i]);  // `c` was not null, so the next character may be read
      if (low < 0) return CO_E_CLASSSTRING;
      bytes[byte++] = static_cast<BYTE>(high * 16 + low);
    }
  }
  if (text[kGuidTextLength] != u'\0') return CO_E_CLASSSTRING;
  GUID guid{};
  guid.Data1 = static_cast<DWORD>(bytes[0]) << 24 | static_cast<DWORD>(bytes[1]) << 16 |
               static_cast<DWORD>(bytes[2]) << 8 | bytes[3];
  guid.Data2 = static_cast<WORD>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<WORD>(bytes[6] << 8 | bytes[7]);
  for (int i = 0; i < 8; ++i) guid.Data4[i] = bytes[8 + i];
  *clsid = guid;
  return S_OK;
}

HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (pUnkOuter != nullptr) return CLASS_E_NOAGGREGATION;
  // The table is not locked while the factory runs: a constructor may create objects of its own.
  const ComPtr<IClassFactory> factory = Table().Factory(rclsid);
  if (!factory) return REGDB_E_CLASSNOTREG;
  const HRESULT hr = factory->CreateInstance(nullptr, riid, ppv);
  if (FAILED(hr)) *ppv = nullptr;
  return hr;
}

HRESULT CoGetClassObject(REFCLSID rclsid, DWORD, void*, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  const ComPtr<IClassFactory> factory = Table().Factory(rclsid);
  if (!factory) return REGDB_E_CLASSNOTREG;
  return factory->QueryInterface(riid, ppv);
}

HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR* lplpszProgID) {
  if (lplpszProgID == nullptr) return E_POINTER;
  *lplpszProgID = nullptr;
  std::u16string progId;
  {
    ClassTable& table = Table();
    std::lock_guard lock(table.mutex);
    const auto found = table.classes.find(clsid);
    if (found == table.classes.end()) return REGDB_E_CLASSNOTREG;
    progId = found->second.progId;
  }
  if (progId.empty()) return REGDB_E_CLASSNOTREG;
  auto* text = static_cast<LPOLESTR>(CoTaskMemAlloc((progId.size() + 1) * sizeof(OLECHAR)));
  if (text == nullptr) return E_OUTOFMEMORY;
  std::memcpy(text, progId.c_str(), (progId.size() + 1) * sizeof(OLECHAR));
  *lplpszProgID = text;
  return S_OK;
}

HRESULT CLSIDFromProgID(LPCOLESTR lpszProgID, LPCLSID lpclsid) {
  if (lpszProgID == nullptr || lpclsid == nullptr) return E_POINTER;
  ClassTable& table = Table();
  std::lock_guard lock(table.mutex);
  const auto found = table.progIds.find(ProgIdKey(lpszProgID));
  if (found == table.progIds.end()) return CO_E_CLASSSTRING;
  *lpclsid = found->second;
  return S_OK;
}

HRESULT RegisterClassInTable(REFCLSID clsid, LPCOLESTR progId, IClassFactory* factory) {
  if (factory == nullptr) return E_POINTER;
  ClassEntry entry{progId == nullptr ? std::u16string() : std::u16string(progId), factory};
  ClassTable& table = Table();
  {
    std::lock_guard lock(table.mutex);
    const auto found = table.classes.find(clsid);
    if (found != table.classes.end()) {
      table.ForgetProgId(clsid, found->second);
      // The replaced factory goes out with `entry`, after the lock is let go: its destructor is
      // foreign code.
      std::swap(found->second, entry);
    } else {
      table.classes.emplace(clsid, std::move(entry));
    }
    // A ProgID names one class; the latest registration takes it over, as a registry key would.
    const ClassEntry& stored = table.classes.at(clsid);
    if (!stored.progId.empty()) table.progIds[ProgIdKey(stored.progId)] = clsid;
  }
  return S_OK;
}

HRESULT RemoveClassFromTable(REFCLSID clsid) {
  ClassEntry removed;  // released after the lock is let go
  ClassTable& table = Table();
  {
    std::lock_guard lock(table.mutex);
    const auto found = table.classes.find(clsid);
    if (found == table.classes.end()) return S_FALSE;
    table.ForgetProgId(clsid, found->second);
    removed = std::move(found->second);
    table.classes.erase(found);
  }
  return S_OK;
}

void* CoTaskMemAlloc(std::size_t cb) { return std::malloc(cb); }

void* CoTaskMemRealloc(void* pv, std::size_t cb) {
  // A size of zero frees the block, as IMalloc::Realloc does; realloc's own answer varies by library.
  if (cb == 0) {
    std::free(pv);
    return nullptr;
  }
  return std::realloc(pv, cb);
}

void CoTaskMemFree(void* pv) { std::free(pv); }

namespace ondrel::platform {

long ComObjectsAndLocks() { return objectsAndLocks.load(); }
void AddComModuleLock() { ++objectsAndLocks; }
void ReleaseComModuleLock() { --objectsAndLocks; }

}  // namespace ondrel::platform
