// The DTA driver: messages, log, outputs, stops and failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "driver_fixture.h"

namespace orvane {
namespace {

using ::testing::ElementsAre;
using test::DriverTest;
using test::Posted;
using test::ReadFile;
using test::Sent;

const char* const kFivePeaks = "1000.5 2\n100 10\n200.5 20\n300.25 30\n400 40\n500 50\n";
const char* const kFivePeaksOut =
    "1000.500000 2\n100.000 10.000\n200.500 20.000\n300.250 30.000\n400.000 40.000\n500.000 50.000";
const char* const kTwoPeaks = "800.5 1\n100 10\n200 20\n";

class DtaDriverTest : public DriverTest {
 protected:
  HRESULT Run() { return CleanDtaFiles(engine.Self(), state, &params); }
};

TEST_F(DtaDriverTest, MessagesLogAndOutputsOfASmallRun) {
  const std::string x = InputFile("x.1.1.2.dta", kFivePeaks);
  const std::string y = InputFile("y.2.2.1.dta", kTwoPeaks);
  AddInput(x, 3);
  AddInput(y, 8);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_THAT(window.messages,
              ElementsAre(Sent(1284, 2),                                                  //
                          Sent(1283, 0, x), Sent(1288, 3), Sent(1281, 1), Sent(1289, 3),  //
                          Sent(1283, 1, y), Sent(1288, 8), Sent(1281, 2), Sent(1289, 8)));
  // The file of 2 peaks leaves no output at all.
  EXPECT_THAT(test::ListFiles(Out()), ElementsAre("badspectra", "x.1.1.2_c.dta"));
  EXPECT_EQ(ReadFile(Out() + "x.1.1.2_c.dta"), kFivePeaksOut);
  const std::string rule = "\n" + std::string(63, '-') + "\n";
  EXPECT_EQ(LogBody(), rule + x + "\n" + "\t-Total peaks removed: 0\n" + rule + y + "\n");
  EXPECT_EQ(test::FakeTonalith::nCreated, 1);
  EXPECT_TRUE(boxes.boxes.empty());
}

struct DtaBadCase {
  bool bExportBad;
  int nAction;
  bool bClean;  // the bad spectrum's file is in the clean place
  bool bBad;    // ... in badspectra/
};

class DtaBadSpectra : public DtaDriverTest, public ::testing::WithParamInterface<DtaBadCase> {};

TEST_P(DtaBadSpectra, GoWhereExportBadAndTheActionSay) {
  params.bCheckSeqTags = true;
  params.bExportBad = GetParam().bExportBad;
  params.nBadSpectraAction = GetParam().nAction;
  AddInput(InputFile("bad.3.3.2.dta", kFivePeaks), 0);
  EXPECT_EQ(Run(), S_OK);
  // No tag: the output is the empty record, a head line and nothing else.
  EXPECT_EQ(Exists(Out() + "bad.3.3.2_c.dta"), GetParam().bClean);
  EXPECT_EQ(Exists(Bad() + "bad.3.3.2_bad_c.dta"), GetParam().bBad);
  if (GetParam().bClean) {
    EXPECT_EQ(ReadFile(Out() + "bad.3.3.2_c.dta"), "0.000000 0\n");
  }
  if (GetParam().bBad) {
    EXPECT_EQ(ReadFile(Bad() + "bad.3.3.2_bad_c.dta"), "0.000000 0\n");
  }
}

INSTANTIATE_TEST_SUITE_P(Actions, DtaBadSpectra,
                         ::testing::Values(DtaBadCase{true, 0, true, false},
                                           DtaBadCase{true, 1, false, true},
                                           DtaBadCase{true, 2, false, false},
                                           DtaBadCase{false, 0, false, false},
                                           DtaBadCase{false, 1, false, false}));

TEST_F(DtaDriverTest, APipelineFailureWritesAnEmptyRecord) {
  engine.onMakeEquidistant = [](double, Dta*) { return E_UNEXPECTED; };
  AddInput(InputFile("x.1.1.2.dta", kFivePeaks), 0);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(ReadFile(Out() + "x.1.1.2_c.dta"), "0.000000 0\n");
}

TEST_F(DtaDriverTest, CancelDuringTheLastFileStopsAfterItsRowIsDone) {
  const std::string x = InputFile("x.1.1.2.dta", kFivePeaks);
  const std::string y = InputFile("y.1.1.2.dta", kFivePeaks);
  AddInput(x, 0);
  AddInput(y, 1);
  window.onMessage = [&](const test::RecordingWindow::Message& m) {
    if (m.number == 1288 && m.wParam == 1) cancel.Set();
  };
  EXPECT_EQ(Run(), E_ABORT);
  EXPECT_THAT(window.messages,
              ElementsAre(Sent(1284, 2), Sent(1283, 0, x), Sent(1288, 0), Sent(1281, 1),
                          Sent(1289, 0), Sent(1283, 1, y), Sent(1288, 1), Sent(1281, 2),
                          Sent(1289, 1), Posted(1280)));
  EXPECT_TRUE(Exists(Out() + "y.1.1.2_c.dta"));
}

TEST_F(DtaDriverTest, CancelSetBeforeTheRunLetsOneFileThrough) {
  AddInput(InputFile("x.1.1.2.dta", kFivePeaks), 0);
  AddInput(InputFile("y.1.1.2.dta", kFivePeaks), 1);
  files.nMode = 0;
  cancel.Set();
  // Through the dispatcher a stopped DTA run is S_FALSE; directly E_ABORT.
  EXPECT_EQ(CleanFiles(engine.Self(), state, &params), S_FALSE);
  EXPECT_EQ(window.messages.back(), Posted(1280));
  EXPECT_TRUE(Exists(Out() + "x.1.1.2_c.dta"));
  EXPECT_FALSE(Exists(Out() + "y.1.1.2_c.dta"));
  window.messages.clear();
  EXPECT_EQ(Run(), E_ABORT);
  EXPECT_EQ(window.messages.back(), Posted(1280));
}

TEST_F(DtaDriverTest, AMissingFileEndsTheRun) {
  const std::string missing = In("missing.1.1.2.dta");
  AddInput(missing, 5);
  AddInput(InputFile("y.1.1.2.dta", kFivePeaks), 6);
  EXPECT_EQ(Run(), E_UNEXPECTED);
  EXPECT_THAT(boxes.Texts(BoxKind::Error), ElementsAre("Couldn't import data"));
  EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
  EXPECT_THAT(window.messages, ElementsAre(Sent(1284, 2), Sent(1283, 0, missing), Sent(1288, 5)));
  EXPECT_FALSE(Exists(Out() + "y.1.1.2_c.dta"));
  // The rule came first.
  EXPECT_EQ(LogBody(), "\n" + std::string(63, '-') + "\n" + missing + "\n");
}

TEST_F(DtaDriverTest, AMissingBadFolderIsNoReasonToStop) {
  std::filesystem::remove(Bad());
  params.bCheckSeqTags = true;
  AddInput(InputFile("bad.1.1.2.dta", kFivePeaks), 0);
  AddInput(InputFile("good.1.1.2.dta", kFivePeaks), 1);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
  EXPECT_EQ(ReadFile(Out() + "good.1.1.2_c.dta"), kFivePeaksOut);
}

}  // namespace
}  // namespace orvane
