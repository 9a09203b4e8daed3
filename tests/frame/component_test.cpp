// What a host of the engine object sees: creation by name, one object behind
// all eight interfaces, its life, its version and its MGF dialect.
#include <gtest/gtest.h>

#include "frame/interfaces.h"
#include "frame/module.h"
#include "frame/orvane.h"
#include "platform/class_registry.h"

namespace orvane {
namespace {

TEST(Component, OneObjectBehindEveryInterface) {
  RegisterOrvaneModule();
  CLSID clsid;
  ASSERT_EQ(CLSIDFromProgID("OrvaneProject.Orvane", &clsid), S_OK);
  void* p = nullptr;
  ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IShowMSMS, &p), S_OK);
  auto* start = static_cast<IUnknown*>(p);
  for (const IID& iid : {IID_IOrvane, IID_IImportMSMS, IID_IConvertMSMS, IID_IExportMSMS,
                         IID_IShowMSMS, IID_IEditMSMS, IID_ICleanMSMS_Files, IID_IAnalyzeMSMS,
                         IID_IMgfDialect}) {
    ASSERT_EQ(start->QueryInterface(iid, &p), S_OK) << iid.ToString();
    static_cast<IUnknown*>(p)->Release();
  }
  EXPECT_EQ(start->QueryInterface(IID_IClassFactory, &p), E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);

  start->QueryInterface(IID_IConvertMSMS, &p);
  long version = 0;
  EXPECT_EQ(static_cast<IConvertMSMS*>(p)->GetVersion(&version), S_OK);
  EXPECT_EQ(version, 2411);
  static_cast<IUnknown*>(p)->Release();

  start->QueryInterface(IID_IMgfDialect, &p);
  auto* dialect = static_cast<IMgfDialect*>(p);
  MgfDialect d = MgfDialect::Modern;
  EXPECT_EQ(dialect->GetMgfDialect(&d), S_OK);
  EXPECT_EQ(d, MgfDialect::Classic);  // a host that never asks gets the classic files
  EXPECT_EQ(dialect->SetMgfDialect(static_cast<MgfDialect>(7)), E_INVALIDARG);

  // The module stays loaded while any interface is held.
  EXPECT_EQ(start->Release(), 1u);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(dialect->Release(), 0u);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace orvane
