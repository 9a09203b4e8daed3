#include "platform/class_registry.h"

#include <gtest/gtest.h>

#include <atomic>

namespace orvane {
namespace {

const IID IID_IThing = GUID::FromString("{11111111-2222-3333-4444-555555555555}");
const CLSID CLSID_Thing = GUID::FromString("{AAAAAAAA-2222-3333-4444-555555555555}");

std::atomic<int> g_alive{0};

class Thing final : public IUnknown {
 public:
  Thing() { ++g_alive; }
  ~Thing() { --g_alive; }
  HRESULT QueryInterface(REFIID iid, void** ppv) override {
    if (iid == IID_IUnknown || iid == IID_IThing) {
      *ppv = this;
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return ++refs_; }
  std::uint32_t Release() override {
    const auto left = --refs_;
    if (left == 0) delete this;
    return left;
  }

 private:
  std::uint32_t refs_ = 0;
};

class ThingFactory final : public IClassFactory {
 public:
  HRESULT QueryInterface(REFIID iid, void** ppv) override {
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
      *ppv = this;
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return ++refs; }
  std::uint32_t Release() override { return --refs; }
  HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** ppv) override {
    if (outer) return CLASS_E_NOAGGREGATION;
    auto* t = new Thing;
    t->AddRef();
    const HRESULT hr = t->QueryInterface(iid, ppv);
    t->Release();
    return hr;
  }
  HRESULT LockServer(bool) override { return S_OK; }
  int refs = 0;
};

TEST(ClassRegistry, CreatesByClassAndByName) {
  ThingFactory factory;
  auto& reg = ClassRegistry::Instance();
  ASSERT_EQ(reg.Register(CLSID_Thing, "Test.Thing", &factory), S_OK);
  EXPECT_EQ(factory.refs, 1);  // the registry holds one reference

  CLSID clsid;
  ASSERT_EQ(CLSIDFromProgID("Test.Thing", &clsid), S_OK);
  EXPECT_EQ(clsid, CLSID_Thing);

  void* p = nullptr;
  ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IThing, &p), S_OK);
  EXPECT_EQ(g_alive, 1);
  static_cast<IUnknown*>(p)->Release();
  EXPECT_EQ(g_alive, 0);

  // An interface the class lacks: no object is left behind.
  EXPECT_EQ(CoCreateInstance(clsid, nullptr, 1, IID_IClassFactory, &p), E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(g_alive, 0);

  EXPECT_EQ(reg.Unregister(CLSID_Thing), S_OK);
  EXPECT_EQ(factory.refs, 0);
  EXPECT_EQ(reg.Unregister(CLSID_Thing), S_FALSE);
}

TEST(ClassRegistry, UnknownClassesAndNamesFail) {
  CLSID clsid;
  EXPECT_EQ(CLSIDFromProgID("No.Such.Thing", &clsid), CO_E_CLASSSTRING);
  void* p = reinterpret_cast<void*>(1);
  EXPECT_EQ(CoCreateInstance(CLSID_Thing, nullptr, 1, IID_IUnknown, &p), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(ClassRegistry::Instance().Register(CLSID_Thing, "x", nullptr), E_INVALIDARG);
}

TEST(ClassRegistry, RefusesAggregation) {
  ThingFactory factory;
  ClassRegistry::Instance().Register(CLSID_Thing, "Test.Thing", &factory);
  Thing outer;
  outer.AddRef();
  void* p = nullptr;
  EXPECT_EQ(CoCreateInstance(CLSID_Thing, &outer, 1, IID_IUnknown, &p), CLASS_E_NOAGGREGATION);
  ClassRegistry::Instance().Unregister(CLSID_Thing);
}

}  // namespace
}  // namespace orvane
