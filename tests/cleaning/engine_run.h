// An engine object and what a host hands its cleaning runs: a file list, a
// recording window and reporter, a stop event, a log, and an output folder
// with its badspectra/.
#pragma once

#include <filesystem>
#include <string>

#include "cleaning/clean_params.h"
#include "frame/interfaces.h"
#include "frame/module.h"
#include "platform/class_registry.h"
#include "platform/text_file.h"
#include "support/test_support.h"

namespace orvane::test {

struct EngineRun {
  TempDir dir;
  ComPtr<ICleanMSMS_Files> clean;
  CStdioFile log;
  RecordingReporter boxes;
  RecordingWindow window;
  CEvent cancel;
  CleanFileList files;
  CleanParams params;

  EngineRun() {
    RegisterOrvaneModule();
    EXPECT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_ICleanMSMS_Files, clean.Out()), S_OK);
    std::filesystem::create_directories(dir.path() / "in");
    std::filesystem::create_directories(dir.path() / "out" / "badspectra");
    EXPECT_TRUE(log.Open(dir.File("log"), CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::modeDirect));
    params.bWriteLog = true;
    params.pLogFile = &log;
    params.pFileList = &files;
    params.hProgressWnd = &window;
    params.pCancelEvent = &cancel;
    params.strOutputFolder = Out();
    params.dEquidistantStep = 0.05;
  }
  std::string Out() const { return dir.Folder() + "out/"; }
  std::string Log() {
    log.Close();
    return ReadFile(dir.File("log"));
  }
};

}  // namespace orvane::test
