#include "host.h"

#include <memory>
#include <set>
#include <vector>

#include "errors.h"
#include "host_setup.h"
#include "ondrel/platform/system.h"
#include "viewport.h"

namespace ondrel::python {
namespace {

struct Host {
  std::unique_ptr<cli::GdiplusSession> gdiplus;
  platform::ComPtr<IOndrel> component;
  std::set<Viewport*> viewports;
  bool stopped = false;
};

Host& TheHost() {
  static Host host;
  return host;
}

}  // namespace

std::mutex& CoreLock() {
  static std::mutex lock;
  return lock;
}

void StartHost(const std::string& moduleFile) {
  Host& host = TheHost();
  platform::SetHostExecutablePath(moduleFile);
  try {
    cli::StartComponentHost();
  } catch (const platform::HResultException& failure) {
    throw MethodError("DllRegisterServer", failure.Result());
  }
  host.gdiplus = std::make_unique<cli::GdiplusSession>();
  if (host.gdiplus->Status() != Gdiplus::Ok)
    throw CoreError{"GDI+ can't be started (status " + std::to_string(host.gdiplus->Status()) + ")", E_FAIL, {}};
}

void StopHost() {
  Host& host = TheHost();
  // Closing takes each viewport out of the set.
  for (const std::vector<Viewport*> open(host.viewports.begin(), host.viewports.end()); Viewport* viewport : open)
    viewport->Close();
  const std::lock_guard<std::mutex> guard(CoreLock());
  host.component.Reset();
  host.gdiplus.reset();
  host.stopped = true;
}

IOndrel& Component() {
  Host& host = TheHost();
  if (host.stopped) throw CoreError{"the host of the core has stopped: the interpreter is ending", E_FAIL, {}};
  if (!host.component) {
    const HRESULT made = CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                                          reinterpret_cast<void**>(host.component.GetAddressOf()));
    if (FAILED(made)) throw MethodError("CoCreateInstance", made);
  }
  return *host.component.Get();
}

IOndrel* ComponentIfMade() { return TheHost().component.Get(); }

void AddViewport(Viewport* viewport) { TheHost().viewports.insert(viewport); }

void RemoveViewport(Viewport* viewport) { TheHost().viewports.erase(viewport); }

}  // namespace ondrel::python
