#include "frame/module.h"

#include "frame/interfaces.h"
#include "frame/orvane.h"
#include "platform/class_factory.h"
#include "platform/class_registry.h"
#include "tonalith/itonalith.h"

namespace orvane {
namespace {

// The one class factory of the module, alive as long as the module.
CClassFactory& factory() {
  static CClassFactory* f = CClassFactory::Create(COrvane::CreateInstance);
  return *f;
}

}  // namespace

void RegisterOrvaneModule() {
  ClassRegistry::Instance().Register(CLSID_Orvane, kOrvaneProgId, &factory());
  RegisterTonalith();
}

void UnregisterOrvaneModule() { ClassRegistry::Instance().Unregister(CLSID_Orvane); }

long ModuleLockCount() { return factory().LockCount(); }

}  // namespace orvane

using namespace orvane;

extern "C" HRESULT DllGetClassObject(const GUID* clsid, const GUID* iid, void** ppv) {
  if (ppv == nullptr || clsid == nullptr || iid == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (!(*clsid == CLSID_Orvane)) return CLASS_E_CLASSNOTAVAILABLE;
  return factory().QueryInterface(*iid, ppv);
}

extern "C" HRESULT DllCanUnloadNow() {
  return COrvane::ObjectCount() == 0 && ModuleLockCount() == 0 ? S_OK : S_FALSE;
}

extern "C" HRESULT DllRegisterServer() {
  // There is no type library to enter here; the classes go into the
  // process's registry.
  RegisterOrvaneModule();
  return ClassRegistry::Instance().IsRegistered(CLSID_Orvane) ? S_OK : SELFREG_E_CLASS;
}

extern "C" HRESULT DllUnregisterServer() {
  UnregisterOrvaneModule();
  return S_OK;
}
