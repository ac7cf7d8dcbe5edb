// Registration of the Store class (ondrel/store.h), for the workstation's class list.
#pragma once

#include "ondrel/platform/com.h"

namespace ondrel::workstation {

// Adds the Store class to the class table under `clsid` and `progId`, as RegisterComClass does.
HRESULT RegisterStoreClass(REFCLSID clsid, LPCOLESTR progId);

}  // namespace ondrel::workstation
