// The exports of the core library (libondrel): the object model's four module entry points.
// A host calls DllRegisterServer once to put the core's classes into the process's class table, then
// creates them with CoCreateInstance (ondrel/ondrel.h).
#pragma once

#include "ondrel/platform/com.h"

// The library shows a host these functions and nothing else.
#define ONDREL_MODULE_EXPORT __attribute__((visibility("default")))

extern "C" {
// The class factory of a core class: CLASS_E_CLASSNOTAVAILABLE (0x80040111) for a class the core
// does not have, E_POINTER for a null out pointer.
ONDREL_MODULE_EXPORT HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv);
// S_OK when no component of the core is alive, else S_FALSE.
ONDREL_MODULE_EXPORT HRESULT DllCanUnloadNow();
// Adds the core's classes to the class table ("Ondrel.OndrelImpl", "Ondrel.OndrelDicomDirImpl"), or
// removes them.
ONDREL_MODULE_EXPORT HRESULT DllRegisterServer();
ONDREL_MODULE_EXPORT HRESULT DllUnregisterServer();
// A new media component (OndrelDicomDirImpl) made without the class table, asked for `riid`.
// E_POINTER for a null `object`; otherwise what its creation and the query answer.
ONDREL_MODULE_EXPORT HRESULT CreateUnregisteredOndrelComInstance(void** object, REFIID riid);
}
