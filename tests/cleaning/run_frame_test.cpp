// Opening and closing of a run, the same for both spectrum drivers, and the
// dispatcher.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "driver_fixture.h"

namespace orvane {
namespace {

using ::testing::ElementsAre;
using test::DriverTest;
using test::FakeEngine;

using Driver = HRESULT (*)(IUnknown*, RunState&, CleanParams*);

struct DriverCase {
  const char* name;
  Driver driver;
  const char* file;
  const char* content;
};

const DriverCase kDrivers[] = {
    {"Mgf", &CleanMgfFiles, "f.mgf", "BEGIN IONS\nTITLE=a\n100 1\n200 2\n300 3\nEND IONS\n"},
    {"Dta", &CleanDtaFiles, "f.1.1.2.dta", "500 2\n100 1\n200 2\n300 3\n"},
};

class RunFrameTest : public DriverTest, public ::testing::WithParamInterface<DriverCase> {
 protected:
  void SetUp() override {
    DriverTest::SetUp();
    AddInput(InputFile(GetParam().file, GetParam().content), 0);
  }
  HRESULT Run() { return GetParam().driver(engine.Self(), state, &params); }
  // Nothing of the run happened: no message, no log, no output.
  void ExpectNothingHappened() {
    EXPECT_TRUE(window.messages.empty());
    EXPECT_EQ(Log(), "");
    EXPECT_THAT(test::ListFiles(Out()), ElementsAre("badspectra"));
  }
};

struct MissingInterface {
  bool FakeEngine::*answer;
  const char* box;
};

TEST_P(RunFrameTest, EachMissingInterfaceIsANoteAndEndsTheRun) {
  const MissingInterface cases[] = {
      {&FakeEngine::bAnswerImport, "Couldn't obtain ImportMSMS interface. \nHRESULT = 0x80004002"},
      {&FakeEngine::bAnswerEdit, "Couldn't obtain EditMSMS interface. \nHRESULT = 0x80004002"},
      {&FakeEngine::bAnswerAnalyze, "Couldn't obtain AnalyzeMSMS interface. \nHRESULT = 0x80004002"},
      {&FakeEngine::bAnswerExport, "Couldn't obtain ExportMSMS interface. \nHRESULT = 0x80004002"},
  };
  for (const MissingInterface& c : cases) {
    engine.*c.answer = false;
    boxes.boxes.clear();
    EXPECT_EQ(Run(), E_NOINTERFACE) << c.box;
    ASSERT_EQ(boxes.boxes.size(), 1u);
    EXPECT_EQ(boxes.boxes[0].kind, BoxKind::Note);
    EXPECT_EQ(boxes.boxes[0].text, c.box);
    // What the earlier steps took is given back.
    EXPECT_EQ(engine.nRefs, 0);
    engine.*c.answer = true;
  }
  EXPECT_EQ(test::FakeTonalith::nCreated, 0);
  ExpectNothingHappened();
}

TEST_P(RunFrameTest, AnUnregisteredComponentIsUnexpected) {
  test::ScopedTonalithClass none(nullptr);
  EXPECT_EQ(Run(), E_UNEXPECTED);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].kind, BoxKind::Note);
  EXPECT_EQ(boxes.boxes[0].text, "Couldn't create the Tonalith component. \nHRESULT = 0x80040154");
  EXPECT_EQ(engine.nRefs, 0);
  ExpectNothingHappened();
  // The dispatcher hands such a status on unchanged.
  files.nMode = GetParam().driver == &CleanMgfFiles ? 1 : 0;
  EXPECT_EQ(CleanFiles(engine.Self(), state, &params), E_UNEXPECTED);
}

TEST_P(RunFrameTest, AComponentWithoutItsInterfaceIsNoInterface) {
  factory.bAnswerTonalith = false;
  EXPECT_EQ(Run(), E_NOINTERFACE);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].kind, BoxKind::Note);
  EXPECT_EQ(boxes.boxes[0].text, "Couldn't obtain ITonalith interface. \nHRESULT = 0x80004002");
  EXPECT_EQ(test::FakeTonalith::nCreated, 1);  // made, asked, and given back
  ExpectNothingHappened();
}

TEST_P(RunFrameTest, EveryRunMakesItsOwnComponentAndGivesEverythingBack) {
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(test::FakeTonalith::nCreated, 2);
  EXPECT_EQ(test::FakeTonalith::nLive, 0);
  EXPECT_EQ(engine.nRefs, 0);
  EXPECT_EQ(state.pTonalith, nullptr);
  const std::string log = Log();
  // Each run writes its own head.
  EXPECT_EQ(log.rfind("Peltrix Log File\n", 0), 0u);
  EXPECT_NE(log.find("Peltrix Log File\n", 1), std::string::npos);
}

TEST_P(RunFrameTest, WithoutBWriteLogTheLogIsNeverTouched) {
  params.bWriteLog = false;
  params.pLogFile = nullptr;
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(Log(), "");
  EXPECT_TRUE(boxes.boxes.empty());
}

INSTANTIATE_TEST_SUITE_P(Drivers, RunFrameTest, ::testing::ValuesIn(kDrivers),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(DriverTest, DispatcherIgnoresUnknownModes) {
  AddInput(InputFile("f.mgf", "BEGIN IONS\nTITLE=a\n100 1\n200 2\n300 3\nEND IONS\n"), 0);
  files.nMode = 7;
  EXPECT_EQ(CleanFiles(engine.Self(), state, &params), S_OK);
  EXPECT_TRUE(window.messages.empty());
  EXPECT_EQ(test::FakeTonalith::nCreated, 0);
  files.nMode = -1;
  EXPECT_EQ(CleanFiles(engine.Self(), state, &params), S_OK);
  EXPECT_EQ(test::FakeTonalith::nCreated, 0);
}

TEST_F(DriverTest, NullArgumentsAreRefused) {
  EXPECT_EQ(CleanFiles(engine.Self(), state, nullptr), E_POINTER);
  EXPECT_EQ(CleanMgfFiles(engine.Self(), state, nullptr), E_POINTER);
  EXPECT_EQ(CleanDtaFiles(engine.Self(), state, nullptr), E_POINTER);
  params.pFileList = nullptr;
  EXPECT_EQ(CleanFiles(engine.Self(), state, &params), E_POINTER);
  EXPECT_EQ(CleanMgfFiles(engine.Self(), state, &params), E_POINTER);
}

}  // namespace
}  // namespace orvane
