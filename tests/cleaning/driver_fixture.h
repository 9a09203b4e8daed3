// A cleaning run on stand-in stages: the engine's interfaces from
// FakeEngine, a FakeTonalith class under the component's name, a recording
// window and reporter, a log and an output folder with its badspectra/.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cleaning/drivers.h"
#include "cleaning_fakes.h"
#include "support/test_support.h"

namespace orvane::test {

class DriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    FakeTonalith::nCreated = 0;
    std::filesystem::create_directories(dir.path() / "in");
    std::filesystem::create_directories(dir.path() / "out" / "badspectra");
    ASSERT_TRUE(log.Open(dir.File("run.log"),
                         CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::modeDirect));
    params.bWriteLog = true;
    params.pLogFile = &log;
    params.pFileList = &files;
    params.hProgressWnd = &window;
    params.pCancelEvent = &cancel;
    params.strOutputFolder = Out();
    params.dEquidistantStep = 0.05;
    params.bExportBad = true;
    params.nBadSpectraAction = 1;
    // Spectra whose title starts with "bad" carry no sequence tag, so with
    // the tag test on they come out bad (result 5).
    engine.onCheckSequenceTags = [](Dta* pDta, int, double, int, bool* pbHasTag) {
      *pbHasTag = pDta->strTitle.rfind("bad", 0) != 0;
      return S_OK;
    };
  }

  void TearDown() override {
    // Every reference the run took is given back, on every way out.
    EXPECT_EQ(engine.nRefs, 0);
    EXPECT_EQ(FakeTonalith::nLive, 0);
  }

  std::string In(const std::string& name) const { return dir.File("in/" + name); }
  std::string Out() const { return dir.Folder() + "out/"; }
  std::string Bad() const { return Out() + "badspectra/"; }
  std::string InputFile(const std::string& name, const std::string& content) {
    WriteFile(In(name), content);
    return In(name);
  }
  void AddInput(const std::string& path, int row) {
    files.lstFiles.push_back(path);
    files.lstRows.push_back(row);
  }
  std::string Log() {
    log.Close();
    return ReadFile(dir.File("run.log"));
  }
  // The log behind the parameter dump.
  std::string LogBody() {
    const std::string text = Log();
    const std::string last = "sequence ladder intensity = 0\n";
    const auto at = text.find(last);
    return at == std::string::npos ? text : text.substr(at + last.size());
  }
  static bool Exists(const std::string& path) { return std::filesystem::exists(path); }

  TempDir dir;
  CStdioFile log;
  RecordingReporter boxes;
  RecordingWindow window;
  CEvent cancel;
  CleanFileList files;
  CleanParams params;
  FakeEngine engine;
  FakeTonalithFactory factory;
  ScopedTonalithClass tonalithClass{&factory};
  RunState state;
};

using Msg = RecordingWindow::Message;
inline Msg Sent(unsigned n, WPARAM w, std::string text = {}) { return {n, w, std::move(text), false}; }
inline Msg Posted(unsigned n) { return {n, 0, {}, true}; }

}  // namespace orvane::test
