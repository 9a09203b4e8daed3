// The class factory every component of the process registers: it makes
// objects through one creation function and counts server locks.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/unknown.h"

namespace orvane {

class CClassFactory final : public IClassFactory {
 public:
  // Makes an object and answers interface iid of it (the object goes again
  // when it lacks that interface).
  using CreateFunction = HRESULT (*)(REFIID iid, void** ppv);

  // A new factory with one reference, for the caller.
  static CClassFactory* Create(CreateFunction create) { return new CClassFactory(create); }

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
  std::uint32_t AddRef() override { return refs_.fetch_add(1, std::memory_order_relaxed) + 1; }
  std::uint32_t Release() override {
    const std::uint32_t left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }
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
  explicit CClassFactory(CreateFunction create) : create_(create) {}
  ~CClassFactory() = default;

  CreateFunction create_;
  std::atomic<std::uint32_t> refs_{1};
  std::atomic<long> locks_{0};
};

}  // namespace orvane
