// The module's exports.
#include "ondrel/module.h"

#include "entry/ondrel_dicomdir_impl.h"
#include "entry/ondrel_impl.h"

namespace {

constexpr HRESULT kClassNotAvailable = MakeHResult(0x80040111);

}  // namespace

extern "C" {

HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  // Factories live as long as the process and keep no module lock of their own.
  static ondrel::platform::ClassFactory<COndrelImpl>* const factory = [] {
    auto* made = new ondrel::platform::ClassFactory<COndrelImpl>();
    made->AddRef();
    return made;
  }();
  static ondrel::platform::ClassFactory<COndrelDicomDirImpl>* const mediaFactory = [] {
    auto* made = new ondrel::platform::ClassFactory<COndrelDicomDirImpl>();
    made->AddRef();
    return made;
  }();
  if (rclsid == CLSID_OndrelImpl) return factory->QueryInterface(riid, ppv);
  if (rclsid == CLSID_OndrelDicomDirImpl) return mediaFactory->QueryInterface(riid, ppv);
  return kClassNotAvailable;
}

// Only the core's own objects count: the workstation's objects that a component reads (the user's
// preferences, the configuration) live in the host's process for as long as it runs.
HRESULT DllCanUnloadNow() {
  return COndrelImpl::LiveComponents() + COndrelDicomDirImpl::LiveComponents() == 0 ? S_OK : S_FALSE;
}

HRESULT DllRegisterServer() {
  const HRESULT hr = ondrel::platform::RegisterComClass<COndrelImpl>(CLSID_OndrelImpl, u"Ondrel.OndrelImpl");
  if (FAILED(hr)) return hr;
  return ondrel::platform::RegisterComClass<COndrelDicomDirImpl>(CLSID_OndrelDicomDirImpl,
                                                                 u"Ondrel.OndrelDicomDirImpl");
}

HRESULT DllUnregisterServer() {
  const HRESULT first = RemoveClassFromTable(CLSID_OndrelImpl);
  const HRESULT second = RemoveClassFromTable(CLSID_OndrelDicomDirImpl);
  return FAILED(first) ? first : FAILED(second) ? second : S_OK;
}

HRESULT CreateUnregisteredOndrelComInstance(void** object, REFIID riid) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  ondrel::platform::ClassFactory<COndrelDicomDirImpl> factory;
  return factory.CreateInstance(nullptr, riid, object);
}

}  // extern "C"
