// The class factory every component of the process registers: it makes
// objects through one creation function and counts server locks.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/unknown.h"

namespace orvane {

class CClassFactory final : public SingleInterfaceObject<IClassFactory, IID_IClassFactory> {
 public:
  // Makes an object and answers interface iid of it (the object goes again
  // when it lacks that interface).
  using CreateFunction = HRESULT (*)(REFIID iid, void** ppv);

  // A new factory with one reference, for the caller.
  static CClassFactory* Create(CreateFunction create) { return new CClassFactory(create); }

  HRESULT CreateInstance(IUnknown* pOuter, REFIID iid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (pOuter != nullptr) return CLASS_E_NOAGGREGATION;
    return create_(iid, ppv);
  }
  HRESULT LockServer(bool bLock) override {
    if (bLock) locks_.fetch_add(1);
    else locks_.fetch_sub(1);
    return S_OK;
  }
  long LockCount() const { return locks_.load(); }

 private:
  explicit CClassFactory(CreateFunction create) : SingleInterfaceObject(1), create_(create) {}

  CreateFunction create_;
  std::atomic<long> locks_{0};
};

}  // namespace orvane
