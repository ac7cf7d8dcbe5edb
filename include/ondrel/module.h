// The exports of the core library (libondrel): the object model's four module entry points.
// A host calls DllRegisterServer once to put the core's classes into the process's class table, then
// creates them with CoCreateInstance (ondrel/ondrel.h).
#pragma once

#include "ondrel/platform/com.h"

extern "C" {
// The class factory of a core class: CLASS_E_CLASSNOTAVAILABLE (0x80040111) for a class the core
// does not have, E_POINTER for a null out pointer.
HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv);
// S_OK when no component of the core is alive, else S_FALSE.
HRESULT DllCanUnloadNow();
// Adds the core's classes to the class table ("Ondrel.OndrelImpl", "Ondrel.OndrelDicomDirImpl"), or
// removes them.
HRESULT DllRegisterServer();
HRESULT DllUnregisterServer();
// A new media component (OndrelDicomDirImpl) made without the class table, asked for `riid`.
// E_POINTER for a null `object`; otherwise what its creation and the query answer.
HRESULT CreateUnregisteredOndrelComInstance(void** object, REFIID riid);
}
