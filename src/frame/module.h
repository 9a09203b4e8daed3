// The module: its class factory, its registration and the four entry points
// with C linkage that a host loading the engine dynamically looks up.
#pragma once

#include "platform/guid.h"
#include "platform/hresult.h"

namespace orvane {

// Enters the engine class ("OrvaneProject.Orvane") and the signal-processing
// component ("Tonalith.TonalithObj") in the process's class registry.
// Idempotent; a host calls it once at start-up.
void RegisterOrvaneModule();
// Removes the engine class from the registry again.
void UnregisterOrvaneModule();
// Server locks taken through the factory.
long ModuleLockCount();

}  // namespace orvane

extern "C" {
orvane::HRESULT DllGetClassObject(const orvane::GUID* clsid, const orvane::GUID* iid, void** ppv);
orvane::HRESULT DllCanUnloadNow();
orvane::HRESULT DllRegisterServer();
orvane::HRESULT DllUnregisterServer();
}
