// Registration of the two configuration classes, for the workstation's class list.
#pragma once

#include "ondrel/platform/com.h"

namespace ondrel::workstation {

// Each adds its class to the class table under `clsid` and `progId`, as RegisterComClass does.
HRESULT RegisterUserPreferencesClass(REFCLSID clsid, LPCOLESTR progId);
HRESULT RegisterGlobalConfigurationClass(REFCLSID clsid, LPCOLESTR progId);

}  // namespace ondrel::workstation
