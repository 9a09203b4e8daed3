#include "platform/class_registry.h"

#include <mutex>
#include <unordered_map>

namespace orvane {

struct ClassRegistry::Impl {
  struct Entry {
    std::string progId;
    IClassFactory* factory = nullptr;
  };
  mutable std::mutex mutex;
  std::unordered_map<GUID, Entry, GuidHash> classes;
};

ClassRegistry& ClassRegistry::Instance() {
  static ClassRegistry registry;
  return registry;
}

ClassRegistry::Impl& ClassRegistry::impl() const {
  // Never destroyed: factories may still be released by objects that outlive
  // static destruction order.
  static Impl* impl = new Impl;
  return *impl;
}

HRESULT ClassRegistry::Register(REFCLSID clsid, std::string_view progId, IClassFactory* pFactory) {
  if (pFactory == nullptr) return E_INVALIDARG;
  pFactory->AddRef();
  IClassFactory* old = nullptr;
  {
    std::lock_guard lock(impl().mutex);
    auto& e = impl().classes[clsid];
    old = e.factory;
    e.progId = std::string(progId);
    e.factory = pFactory;
  }
  if (old) old->Release();
  return S_OK;
}

HRESULT ClassRegistry::Unregister(REFCLSID clsid) {
  IClassFactory* old = nullptr;
  {
    std::lock_guard lock(impl().mutex);
    auto it = impl().classes.find(clsid);
    if (it == impl().classes.end()) return S_FALSE;
    old = it->second.factory;
    impl().classes.erase(it);
  }
  old->Release();
  return S_OK;
}

bool ClassRegistry::IsRegistered(REFCLSID clsid) const {
  std::lock_guard lock(impl().mutex);
  return impl().classes.count(clsid) != 0;
}

HRESULT ClassRegistry::ClsidFromProgId(std::string_view progId, CLSID* pClsid) const {
  if (pClsid == nullptr) return E_POINTER;
  std::lock_guard lock(impl().mutex);
  for (const auto& [clsid, entry] : impl().classes) {
    if (entry.progId == progId) {
      *pClsid = clsid;
      return S_OK;
    }
  }
  *pClsid = GUID{};
  return CO_E_CLASSSTRING;
}

HRESULT ClassRegistry::GetClassObject(REFCLSID clsid, REFIID iid, void** ppv) const {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  IClassFactory* factory = nullptr;
  {
    std::lock_guard lock(impl().mutex);
    auto it = impl().classes.find(clsid);
    if (it == impl().classes.end()) return REGDB_E_CLASSNOTREG;
    factory = it->second.factory;
    factory->AddRef();
  }
  const HRESULT hr = factory->QueryInterface(iid, ppv);
  factory->Release();
  return hr;
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* pOuter, std::uint32_t /*context*/, REFIID iid,
                         void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (pOuter != nullptr) return CLASS_E_NOAGGREGATION;
  ComPtr<IClassFactory> factory;
  const HRESULT hr = ClassRegistry::Instance().GetClassObject(clsid, IID_IClassFactory, factory.Out());
  if (FAILED(hr)) return hr;
  return factory->CreateInstance(nullptr, iid, ppv);
}

HRESULT CLSIDFromProgID(std::string_view progId, CLSID* pClsid) {
  return ClassRegistry::Instance().ClsidFromProgId(progId, pClsid);
}

}  // namespace orvane
