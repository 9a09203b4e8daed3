// The three operations every component interface starts with.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/guid.h"
#include "platform/hresult.h"

namespace orvane {

// {00000000-0000-0000-C000-000000000046}, as everywhere.
inline const IID IID_IUnknown = GUID::FromString("{00000000-0000-0000-C000-000000000046}");
// {00000001-0000-0000-C000-000000000046}
inline const IID IID_IClassFactory = GUID::FromString("{00000001-0000-0000-C000-000000000046}");

class IUnknown {
 public:
  // Answers the interface `iid` of the same object in *ppv, with one more
  // reference, or E_NOINTERFACE with *ppv null.
  virtual HRESULT QueryInterface(REFIID iid, void** ppv) = 0;
  virtual std::uint32_t AddRef() = 0;
  // Drops one reference; the object goes with the last one.
  virtual std::uint32_t Release() = 0;

 protected:
  ~IUnknown() = default;
};

// Makes objects of one class.
class IClassFactory : public IUnknown {
 public:
  // pOuter must be null: no class here supports aggregation.
  virtual HRESULT CreateInstance(IUnknown* pOuter, REFIID iid, void** ppv) = 0;
  virtual HRESULT LockServer(bool bLock) = 0;

 protected:
  ~IClassFactory() = default;
};

// An object with one interface I (of identifier iid) beside IUnknown and one
// reference count, which starts at nRefs; the object goes with the last
// reference.
template <class I, const IID& iid>
class SingleInterfaceObject : public I {
 public:
  HRESULT QueryInterface(REFIID asked, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (asked == IID_IUnknown || asked == iid) {
      *ppv = static_cast<I*>(this);
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

 protected:
  explicit SingleInterfaceObject(std::uint32_t nRefs) : refs_(nRefs) {}
  virtual ~SingleInterfaceObject() = default;

 private:
  std::atomic<std::uint32_t> refs_;
};

// Releases an interface pointer when it goes out of scope.
template <class T>
class ComPtr {
 public:
  ComPtr() = default;
  explicit ComPtr(T* p) : p_(p) {}  // takes over one reference
  ComPtr(const ComPtr&) = delete;
  ComPtr& operator=(const ComPtr&) = delete;
  ComPtr(ComPtr&& o) noexcept : p_(o.p_) { o.p_ = nullptr; }
  ComPtr& operator=(ComPtr&& o) noexcept {
    if (this != &o) {
      Reset();
      p_ = o.p_;
      o.p_ = nullptr;
    }
    return *this;
  }
  ~ComPtr() { Reset(); }
  void Reset() {
    if (p_) p_->Release();
    p_ = nullptr;
  }
  T* Get() const { return p_; }
  T* operator->() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }
  // For QueryInterface and creation calls: the slot to fill.
  void** Out() {
    Reset();
    return reinterpret_cast<void**>(&p_);
  }
  // The slot as a typed pointer, for calls that fill a T*.
  T** Put() {
    Reset();
    return &p_;
  }
  T* Detach() {
    T* p = p_;
    p_ = nullptr;
    return p;
  }

 private:
  T* p_ = nullptr;
};

}  // namespace orvane
