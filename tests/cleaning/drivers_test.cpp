// The MGF and DTA drivers as a host of the engine object sees them: the
// results, boxes and window messages, stops, and the classic files and log.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "engine_run.h"

namespace orvane {
namespace {

using Msg = test::RecordingWindow::Message;
using Texts = std::vector<std::string>;
Msg Sent(unsigned n, WPARAM w, std::string text = {}) { return {n, w, std::move(text), false}; }
const Msg kStopped = {PM_CANCELLED, 0, {}, true};

std::string Ions(const std::string& title, const std::string& peaks) {
  return "BEGIN IONS\nTITLE=" + title + "\nCHARGE=2+\nPEPMASS=500.25\n" + peaks + "END IONS\n\n";
}
const std::string kThree = "100 10\n200.5 20\n300.25 30\n";
const std::string kFivePeaks = "1000.5 2\n100 10\n200.5 20\n300.25 30\n400 40\n500 50\n";
const std::string kRule = "\n" + std::string(63, '-') + "\n";

struct Drivers : test::EngineRun {
  Drivers() {
    params.bExportBad = true;
    params.nBadSpectraAction = BadSpectraAction::Separate;
    params.dMassTolerance = 0.5;
  }
  std::string Add(const std::string& name, const std::string& content, int row) {
    const std::string path = dir.File("in/" + name);
    if (!content.empty()) test::WriteFile(path, content);
    files.lstFiles.push_back(path);
    files.lstRows.push_back(row);
    return path;
  }
  // The log behind its head.
  std::string LogBody() {
    const std::string text = Log();
    const std::string last = "sequence ladder intensity = 0\n";
    return text.substr(text.find(last) + last.size());
  }

};

TEST(Drivers, MgfRun) {
  Drivers t;
  t.files.nMode = InputKind::Mgf;
  const std::string f1 = t.Add("f1.mgf", Ions("a1", kThree) + Ions("a2", "110 11\n220 22\n") +
                                           Ions("a3", "120 12\n130 0\n240 24\n360 36\n"), 4);
  const std::string f2 = t.Add("f2.mgf", "# no spectrum here\n", 9);
  EXPECT_EQ(t.clean->CleanFiles(&t.params), S_OK);
  EXPECT_EQ(t.window.messages, (std::vector<Msg>{Sent(1288, 4), Sent(1284, 3), Sent(1283, 0, f1), Sent(1281, 1),
                                               Sent(1283, 1, f1), Sent(1281, 2), Sent(1283, 2, f1), Sent(1281, 3),
                                               Sent(1283, 2, f1), Sent(1289, 4), Sent(1288, 9), Sent(1284, 0),
                                               Sent(1283, 0, f2), Sent(1289, 9)}));
  // A spectrum of two peaks goes nowhere; empty bad files are removed again.
  EXPECT_EQ(test::ListFiles(t.Out()), (Texts{"badspectra", "f1_c.mgf", "f2_c.mgf"}));
  EXPECT_TRUE(t.boxes.boxes.empty());
}

TEST(Drivers, DtaRun) {
  Drivers t;
  t.files.nMode = InputKind::Dta;
  const std::string x = t.Add("x.1.1.2.dta", kFivePeaks, 3);
  const std::string y = t.Add("y.2.2.1.dta", "800.5 1\n100 10\n200 20\n", 8);
  EXPECT_EQ(t.clean->CleanFiles(&t.params), S_OK);
  EXPECT_EQ(t.window.messages, (std::vector<Msg>{Sent(1284, 2), Sent(1283, 0, x), Sent(1288, 3), Sent(1281, 1),
                                               Sent(1289, 3), Sent(1283, 1, y), Sent(1288, 8), Sent(1281, 2),
                                               Sent(1289, 8)}));
  EXPECT_EQ(test::ListFiles(t.Out()), (Texts{"badspectra", "x.1.1.2_c.dta"}));
  EXPECT_EQ(t.LogBody(), kRule + x + "\n\t-Total peaks removed: 0\n" + kRule + y + "\n");
  EXPECT_TRUE(t.boxes.boxes.empty());
}

// A stop set before the run lets the first spectrum (MGF) or file (DTA)
// through and ends with the posted stop message. Through CleanFiles a
// stopped DTA run answers S_FALSE and an MGF run S_OK; the drivers
// themselves answer E_ABORT.
TEST(Drivers, Stops) {
  for (int mode : {0, 1}) {
    Drivers t;
    t.files.nMode = static_cast<InputKind>(mode);
    t.Add(mode == 0 ? "x.1.1.2.dta" : "f1.mgf", mode == 0 ? kFivePeaks : Ions("a1", kThree) + Ions("a2", kThree), 0);
    t.Add(mode == 0 ? "y.1.1.2.dta" : "f2.mgf", mode == 0 ? kFivePeaks : Ions("b1", kThree), 1);
    t.cancel.Set();
    EXPECT_EQ(t.clean->CleanFiles(&t.params), mode == 0 ? S_FALSE : S_OK);
    EXPECT_EQ(t.window.messages.back(), kStopped);
    const std::string first = mode == 0 ? "x.1.1.2_c.dta" : "f1_c.mgf";
    EXPECT_EQ(test::ListFiles(t.Out()), (Texts{"badspectra", first}));
    EXPECT_EQ(test::ReadFile(t.Out() + first).find("TITLE=a2"), std::string::npos);
    EXPECT_EQ(mode == 0 ? t.clean->CleanDtaFiles(&t.params) : t.clean->CleanMgfFiles(&t.params), E_ABORT);
  }
}

TEST(Drivers, Failures) {
  struct Row {
    const char* name;
    int mode;
    std::function<void(Drivers&)> arrange;
    HRESULT hr;
    Texts plain, errors;
    std::size_t fileErrors;
    Texts outputs;
  };
  const Row rows[] = {
      {"missing MGF input", 1, [](Drivers& t) { t.Add("missing.mgf", "", 1); t.Add("f2.mgf", Ions("a", kThree), 2); },
       E_UNEXPECTED, {}, {}, 2, {"badspectra"}},
      {"no bad folder", 1, [](Drivers& t) { std::filesystem::remove(t.Out() + "badspectra"); t.Add("f.mgf", Ions("a", kThree), 0); },
       E_UNEXPECTED, {"the file pfBadExportM could not be created"}, {}, 0, {"f_c.mgf"}},
      {"broken log", 1, [](Drivers& t) { t.log.Close(); t.Add("f.mgf", Ions("a", kThree), 0); },
       E_UNEXPECTED, {}, {"Couldn't write to the Log File"}, 1, {"badspectra", "f_c.mgf"}},
      {"missing DTA file", 0, [](Drivers& t) { t.Add("missing.1.1.2.dta", "", 5); t.Add("y.1.1.2.dta", kFivePeaks, 6); },
       E_UNEXPECTED, {}, {"Couldn't import data"}, 1, {"badspectra"}},
      // A bad spectrum (no sequence tag) without a bad folder goes on.
      {"no bad folder for DTA", 0,
       [](Drivers& t) {
         std::filesystem::remove(t.Out() + "badspectra");
         t.params.bCheckSeqTags = true;
         t.params.nSeqTagLength = 1;
         t.Add("bad.1.1.2.dta", kFivePeaks, 0);
         t.Add("good.1.1.2.dta", "500.5 2\n100 10\n171.04 20\n300 30\n", 1);
       },
       S_OK, {}, {}, 1, {"good.1.1.2_c.dta"}},
  };
  for (const Row& r : rows) {
    Drivers t;
    t.files.nMode = static_cast<InputKind>(r.mode);
    r.arrange(t);
    EXPECT_EQ(t.clean->CleanFiles(&t.params), r.hr) << r.name;
    EXPECT_EQ(t.boxes.Texts(BoxKind::Plain), r.plain) << r.name;
    EXPECT_EQ(t.boxes.Texts(BoxKind::Error), r.errors) << r.name;
    EXPECT_EQ(t.boxes.Texts(BoxKind::FileError).size(), r.fileErrors) << r.name;
    EXPECT_EQ(test::ListFiles(t.Out()), r.outputs) << r.name;
  }
  Drivers t;
  EXPECT_EQ(t.clean->CleanFiles(nullptr), E_POINTER);
  t.files.nMode = static_cast<InputKind>(7);  // unknown kinds of input are no work
  t.Add("f.mgf", Ions("a", kThree), 0);
  EXPECT_EQ(t.clean->CleanFiles(&t.params), S_OK);
  EXPECT_TRUE(t.window.messages.empty());
}

}  // namespace
}  // namespace orvane
