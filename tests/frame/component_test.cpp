#include <gtest/gtest.h>

#include <vector>

#include "frame/interfaces.h"
#include "frame/module.h"
#include "frame/orvane.h"
#include "platform/class_registry.h"
#include "spectrum/dta.h"

namespace orvane {
namespace {

const std::vector<IID>& AllIids() {
  static const std::vector<IID> iids = {IID_IOrvane,      IID_IImportMSMS,      IID_IConvertMSMS,
                                        IID_IExportMSMS,  IID_IShowMSMS,        IID_IEditMSMS,
                                        IID_ICleanMSMS_Files, IID_IAnalyzeMSMS};
  return iids;
}

class Component : public testing::Test {
 protected:
  void SetUp() override { RegisterOrvaneModule(); }
  IUnknown* Create(REFIID iid) {
    void* p = nullptr;
    EXPECT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, iid, &p), S_OK);
    return static_cast<IUnknown*>(p);
  }
};

TEST_F(Component, TheIdentifiersAreTheRegisteredOnes) {
  EXPECT_EQ(CLSID_Orvane.ToString(), "{97229A5C-2B05-419F-B18B-8EE7B780C371}");
  EXPECT_EQ(IID_IOrvane.ToString(), "{6B71342D-2076-40B0-A0CA-72290ECA9511}");
  EXPECT_EQ(IID_IImportMSMS.ToString(), "{F9DE3250-3FA6-4E2E-9271-F5C7ED5EA9B5}");
  EXPECT_EQ(IID_IConvertMSMS.ToString(), "{F70D34E4-251B-4022-A1FB-3674C62EA558}");
  EXPECT_EQ(IID_IExportMSMS.ToString(), "{A84FFAC1-DF09-4B01-B7B3-5645E0FC1AAE}");
  EXPECT_EQ(IID_IShowMSMS.ToString(), "{18D58D95-CFC4-40A5-AF2D-495659E53D24}");
  EXPECT_EQ(IID_IEditMSMS.ToString(), "{A4383B4B-3D25-497D-9434-CCA45E401295}");
  EXPECT_EQ(IID_ICleanMSMS_Files.ToString(), "{AF02991A-49FB-4FCF-B828-253C5F586DAA}");
  EXPECT_EQ(IID_IAnalyzeMSMS.ToString(), "{2E6F12B3-C290-4ADA-AD62-105315445CD0}");
}

TEST_F(Component, CreatesByClassAndByProgrammaticName) {
  CLSID clsid;
  ASSERT_EQ(CLSIDFromProgID("OrvaneProject.Orvane", &clsid), S_OK);
  EXPECT_EQ(clsid, CLSID_Orvane);
  IUnknown* p = Create(IID_ICleanMSMS_Files);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->Release(), 0u);
}

// Every interface reaches every other one, and all of them share one count.
TEST_F(Component, QueryInterfaceReachesAllEightFromEachInterface) {
  for (const IID& from : AllIids()) {
    IUnknown* start = Create(from);
    ASSERT_NE(start, nullptr);
    std::vector<IUnknown*> got;
    for (const IID& to : AllIids()) {
      void* p = nullptr;
      ASSERT_EQ(start->QueryInterface(to, &p), S_OK) << from.ToString() << " -> " << to.ToString();
      ASSERT_NE(p, nullptr);
      got.push_back(static_cast<IUnknown*>(p));
    }
    // One start reference plus eight.
    EXPECT_EQ(start->AddRef(), 10u);
    start->Release();
    // The results stay valid until each has been released.
    for (IUnknown* p : got) {
      void* again = nullptr;
      EXPECT_EQ(p->QueryInterface(IID_IShowMSMS, &again), S_OK);
      static_cast<IUnknown*>(again)->Release();
      p->Release();
    }
    EXPECT_EQ(start->Release(), 0u);
  }
  EXPECT_EQ(COrvane::ObjectCount(), 0);
}

TEST_F(Component, OtherIdentifiersAreRefused) {
  IUnknown* p = Create(IID_IOrvane);
  for (const GUID& other : {TYPELIB_IOrvane, TYPELIB_Orvane, LIBID_OrvaneProject, IID_IClassFactory,
                            GUID::FromString("{BFA6298C-6826-4074-B353-192742659D95}")}) {
    void* q = reinterpret_cast<void*>(1);
    EXPECT_EQ(p->QueryInterface(other, &q), E_NOINTERFACE) << other.ToString();
    EXPECT_EQ(q, nullptr);
  }
  p->Release();
}

TEST_F(Component, ObjectLivesUntilTheLastRelease) {
  auto* clean = static_cast<ICleanMSMS_Files*>(Create(IID_ICleanMSMS_Files));
  void* edit = nullptr;
  ASSERT_EQ(clean->QueryInterface(IID_IEditMSMS, &edit), S_OK);
  EXPECT_EQ(COrvane::ObjectCount(), 1);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(clean->Release(), 1u);
  EXPECT_EQ(COrvane::ObjectCount(), 1);
  EXPECT_EQ(static_cast<IEditMSMS*>(edit)->Release(), 0u);
  EXPECT_EQ(COrvane::ObjectCount(), 0);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST_F(Component, ReservedOperationsAnswerNotImplemented) {
  IUnknown* p = Create(IID_IImportMSMS);
  void* q = nullptr;
  auto* import = static_cast<IImportMSMS*>(p);
  EXPECT_EQ(import->ReservedImport1(123), E_NOTIMPL);
  EXPECT_EQ(import->ReservedImport2(-1), E_NOTIMPL);
  EXPECT_EQ(E_NOTIMPL, static_cast<HRESULT>(0x80004001u));
  ASSERT_EQ(p->QueryInterface(IID_IShowMSMS, &q), S_OK);
  EXPECT_EQ(static_cast<IShowMSMS*>(q)->ReservedShow(7), E_NOTIMPL);
  static_cast<IUnknown*>(q)->Release();
  ASSERT_EQ(p->QueryInterface(IID_IAnalyzeMSMS, &q), S_OK);
  EXPECT_EQ(static_cast<IAnalyzeMSMS*>(q)->ReservedAnalyze(1, 2), E_NOTIMPL);
  static_cast<IUnknown*>(q)->Release();
  p->Release();
}

TEST_F(Component, GetVersionGives2411) {
  auto* convert = static_cast<IConvertMSMS*>(Create(IID_IConvertMSMS));
  long version = 0;
  EXPECT_EQ(convert->GetVersion(&version), S_OK);
  EXPECT_EQ(version, 2411);
  convert->Release();
}

TEST_F(Component, TheMgfDialectIsAnOptionOfTheObject) {
  IUnknown* p = Create(IID_IOrvane);
  void* q = nullptr;
  ASSERT_EQ(p->QueryInterface(IID_IMgfDialect, &q), S_OK);
  auto* dialect = static_cast<IMgfDialect*>(q);
  MgfDialect d = MgfDialect::Modern;
  EXPECT_EQ(dialect->GetMgfDialect(&d), S_OK);
  EXPECT_EQ(d, MgfDialect::Classic);
  EXPECT_EQ(dialect->SetMgfDialect(MgfDialect::Modern), S_OK);
  EXPECT_EQ(dialect->GetMgfDialect(&d), S_OK);
  EXPECT_EQ(d, MgfDialect::Modern);
  EXPECT_EQ(dialect->SetMgfDialect(static_cast<MgfDialect>(7)), E_INVALIDARG);
  dialect->Release();
  p->Release();
}

TEST_F(Component, ModuleEntryPoints) {
  void* f = nullptr;
  ASSERT_EQ(DllGetClassObject(&CLSID_Orvane, &IID_IClassFactory, &f), S_OK);
  auto* factory = static_cast<IClassFactory*>(f);
  void* obj = nullptr;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IExportMSMS, &obj), S_OK);
  static_cast<IUnknown*>(obj)->Release();
  EXPECT_EQ(factory->LockServer(true), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(factory->LockServer(false), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  factory->Release();
  EXPECT_EQ(DllGetClassObject(&TYPELIB_Orvane, &IID_IClassFactory, &f), CLASS_E_CLASSNOTAVAILABLE);

  EXPECT_EQ(DllUnregisterServer(), S_OK);
  CLSID clsid;
  EXPECT_EQ(CLSIDFromProgID("OrvaneProject.Orvane", &clsid), CO_E_CLASSSTRING);
  EXPECT_EQ(DllRegisterServer(), S_OK);
  EXPECT_EQ(CLSIDFromProgID("OrvaneProject.Orvane", &clsid), S_OK);
}

}  // namespace
}  // namespace orvane
