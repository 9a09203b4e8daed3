#include "frame/module.h"

#include <atomic>
#include <mutex>

#include "frame/interfaces.h"
#include "frame/orvane.h"
#include "platform/class_registry.h"
#include "tonalith/itonalith.h"

namespace orvane {
namespace {

std::atomic<long> g_locks{0};

// The one class factory of the module, alive as long as the module.
class COrvaneFactory final : public IClassFactory {
 public:
  HRESULT QueryInterface(REFIID iid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
      *ppv = static_cast<IClassFactory*>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return 2; }
  std::uint32_t Release() override { return 1; }
  HRESULT CreateInstance(IUnknown* pOuter, REFIID iid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (pOuter != nullptr) return CLASS_E_NOAGGREGATION;
    return COrvane::CreateInstance(iid, ppv);
  }
  HRESULT LockServer(bool bLock) override {
    if (bLock) g_locks.fetch_add(1);
    else g_locks.fetch_sub(1);
    return S_OK;
  }
};

COrvaneFactory& factory() {
  static COrvaneFactory* f = new COrvaneFactory;
  return *f;
}

}  // namespace

void RegisterOrvaneModule() {
  ClassRegistry::Instance().Register(CLSID_Orvane, kOrvaneProgId, &factory());
  RegisterTonalith();
}

void UnregisterOrvaneModule() { ClassRegistry::Instance().Unregister(CLSID_Orvane); }

long ModuleLockCount() { return g_locks.load(); }

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
