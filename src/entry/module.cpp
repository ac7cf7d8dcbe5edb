// The module's exports.
#include "ondrel/module.h"

#include "entry/ondrel_impl.h"

namespace {

constexpr HRESULT kClassNotAvailable = MakeHResult(0x80040111);

}  // namespace

extern "C" {

HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (rclsid != CLSID_OndrelImpl) return kClassNotAvailable;
  // Factories live as long as the process and keep no module lock of their own.
  static ondrel::platform::ClassFactory<COndrelImpl>* const factory = [] {
    auto* made = new ondrel::platform::ClassFactory<COndrelImpl>();
    made->AddRef();
    return made;
  }();
  return factory->QueryInterface(riid, ppv);
}

// Only the core's own objects count: the workstation's objects that a component reads (the user's
// preferences, the configuration) live in the host's process for as long as it runs.
HRESULT DllCanUnloadNow() { return COndrelImpl::LiveComponents() == 0 ? S_OK : S_FALSE; }

HRESULT DllRegisterServer() {
  return ondrel::platform::RegisterComClass<COndrelImpl>(CLSID_OndrelImpl, u"Ondrel.OndrelImpl");
}

HRESULT DllUnregisterServer() {
  const HRESULT hr = RemoveClassFromTable(CLSID_OndrelImpl);
  return SUCCEEDED(hr) ? S_OK : hr;
}

}  // extern "C"
