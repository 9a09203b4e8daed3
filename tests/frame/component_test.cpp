// What a host of the engine object sees: creation by name, one object behind
// all eight interfaces, its life, its version and its MGF dialect, and a
// cleaning run that can't make the signal-processing component by its name.
#include <gtest/gtest.h>

#include "cleaning/clean_params.h"
#include "frame/interfaces.h"
#include "frame/module.h"
#include "frame/orvane.h"
#include "platform/class_registry.h"
#include "platform/text_file.h"
#include "support/test_support.h"
#include "tonalith/itonalith.h"

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

// A spectrum driver opens its run with "Tonalith.TonalithObj": without the
// class, the run fails before its log has a line, and a run with no inputs
// never asks for it.
TEST(Component, ARunWithoutTheSignalComponent) {
  RegisterOrvaneModule();
  ComPtr<ICleanMSMS_Files> clean;
  ASSERT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_ICleanMSMS_Files, clean.Out()), S_OK);
  test::TempDir dir;
  test::WriteFile(dir.File("a.mgf"), "BEGIN IONS\nPEPMASS=500\n100 1\n200 2\n300 3\nEND IONS\n");
  CStdioFile log;
  ASSERT_TRUE(log.Open(dir.File("log"), CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::modeDirect));
  CleanFileList files;
  files.nMode = InputKind::Mgf;
  CleanParams params;
  params.bWriteLog = true;
  params.pLogFile = &log;
  params.pFileList = &files;
  params.strOutputFolder = dir.Folder();
  ASSERT_EQ(ClassRegistry::Instance().Unregister(TonalithClsid()), S_OK);
  test::RecordingReporter boxes;
  EXPECT_EQ(clean->CleanFiles(&params), S_OK);  // nothing to clean
  files.lstFiles.push_back(dir.File("a.mgf"));
  EXPECT_EQ(clean->CleanFiles(&params), E_UNEXPECTED);
  RegisterTonalith();
  EXPECT_EQ(boxes.Texts(BoxKind::Note),
            std::vector<std::string>{"Couldn't create the Tonalith component. \nHRESULT = 0x80040154"});
  log.Close();
  EXPECT_EQ(test::ReadFile(dir.File("log")), "");
  EXPECT_EQ(test::ListFiles(dir.Folder()), (std::vector<std::string>{"a.mgf", "log"}));
}

}  // namespace
}  // namespace orvane
