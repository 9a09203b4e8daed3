// The pipeline's order of stages, its fold of the stages' votes and its
// failure rows, on stand-in stages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cleaning/drivers.h"
#include "cleaning_fakes.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using ::testing::ElementsAre;
using test::FakeEngine;
using test::FakeTonalith;

struct Peak {
  double dMass;
  double dIntensity;
  friend bool operator==(const Peak& a, const Peak& b) {
    return std::abs(a.dMass - b.dMass) < 1e-9 && a.dIntensity == b.dIntensity;
  }
  friend std::ostream& operator<<(std::ostream& os, const Peak& p) {
    return os << "(" << p.dMass << ", " << p.dIntensity << ")";
  }
};

std::vector<Peak> Peaks(const Dta& dta) {
  std::vector<Peak> out;
  for (unsigned i = 0; i < dta.GetPeakCount(); ++i) out.push_back({dta.GetMass(i), dta.GetIntensity(i)});
  return out;
}

double GridMass(int i) { return 100.0 + 0.05 * i; }

// Ten grid points, two of them empty, as the resampling leaves a spectrum.
const double kIntensities[10] = {0, 10, 20, 0, 40, 50, 60, 70, 80, 90};

Dta GridSpectrum(int nCharge) {
  Dta dta;
  dta.strTitle = "in.1.1.2.dta";
  dta.dMass = 500.25;
  dta.nCharge = nCharge;
  for (int i = 0; i < 10; ++i) dta.AddPeak(GridMass(i), kIntensities[i]);
  return dta;
}

// The grid points of the input that a list of indices keeps.
std::vector<Peak> Points(std::initializer_list<int> indices) {
  std::vector<Peak> out;
  for (int i : indices) out.push_back({GridMass(i), kIntensities[i]});
  return out;
}

class CleanSpectrumTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(log_.Open(dir_.File("log.txt"),
                          CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::modeDirect));
    params.bWriteLog = true;
    params.pLogFile = &log_;
    params.dEquidistantStep = 0.05;
    params.dDeconvThreshold = 90.0;
    state = engine.State(&tonalith);
    // What the caller may have set already, and what a failure must leave.
    out.strTitle = "out title";
    out.strPath = "/out/";
    out.nCharge = 9;
    out.dMass = 9.5;
    out.AddPeak(1.0, 1.0);
  }

  int Clean() { return CleanSpectrum(state, in, &params, out); }
  std::string Log() {
    log_.Close();
    return test::ReadFile(dir_.File("log.txt"));
  }
  void ExpectOutputUntouched() {
    EXPECT_EQ(out.strTitle, "out title");
    EXPECT_EQ(out.strPath, "/out/");
    EXPECT_EQ(out.nCharge, 9);
    EXPECT_EQ(out.dMass, 9.5);
    EXPECT_THAT(Peaks(out), ElementsAre(Peak{1.0, 1.0}));
  }

  test::TempDir dir_;
  CStdioFile log_;
  test::RecordingReporter boxes;
  FakeEngine engine;
  FakeTonalith tonalith;
  RunState state;
  CleanParams params;
  Dta in = GridSpectrum(2);
  Dta out;
};

TEST_F(CleanSpectrumTest, AllStagesOffKeepsThePositiveGridPoints) {
  EXPECT_EQ(Clean(), 1);
  EXPECT_THAT(Peaks(out), ::testing::ContainerEq(Points({1, 2, 4, 5, 6, 7, 8, 9})));
  EXPECT_EQ(out.strTitle, "out title");
  EXPECT_EQ(out.strPath, "/out/");
  EXPECT_EQ(out.nCharge, 2);
  EXPECT_EQ(out.dMass, 500.25);
  EXPECT_THAT(engine.calls, ElementsAre("MakeEquidistant"));
  EXPECT_EQ(Log(), "\t-Total peaks removed: 2\n");
  EXPECT_TRUE(boxes.boxes.empty());
}

TEST_F(CleanSpectrumTest, ResamplesACopyAndNeverTheInput) {
  // A stand-in resampling that folds the two first peaks onto one point.
  in = Dta();
  in.nCharge = 1;
  in.AddPeak(100.01, 5);
  in.AddPeak(100.02, 6);
  in.AddPeak(100.11, 7);
  engine.onMakeEquidistant = [](double dStep, Dta* pDta) {
    EXPECT_DOUBLE_EQ(dStep, 0.05);
    pDta->ClearPeaks();
    pDta->AddPeak(100.00, 11);
    pDta->AddPeak(100.05, 0);
    pDta->AddPeak(100.10, 7);
    return S_OK;
  };
  EXPECT_EQ(Clean(), 1);
  EXPECT_THAT(Peaks(out), ElementsAre(Peak{100.00, 11}, Peak{100.10, 7}));
  EXPECT_THAT(Peaks(in), ElementsAre(Peak{100.01, 5}, Peak{100.02, 6}, Peak{100.11, 7}));
  // Three peaks came in, two went out: the fold onto one grid point counts.
  EXPECT_EQ(Log(), "\t-Total peaks removed: 1\n");
}

TEST_F(CleanSpectrumTest, NoSequenceTagEndsAtOnceWithFive) {
  params.bCheckSeqTags = true;
  params.bMergePeaks = true;
  params.bRemoveNoise = true;
  params.nSeqTagLength = 4;
  params.dMassTolerance = 0.3;
  params.nSeqLadderIntensity = 15;
  engine.onCheckSequenceTags = [this](Dta* pDta, int nLength, double dTolerance, int nLadder,
                                      bool* pbHasTag) {
    EXPECT_EQ(pDta, &in);  // the spectrum as it came, not the working copy
    EXPECT_EQ(nLength, 4);
    EXPECT_DOUBLE_EQ(dTolerance, 0.3);
    EXPECT_EQ(nLadder, 15);
    EXPECT_FALSE(*pbHasTag);
    return E_FAIL;  // the status is not looked at
  };
  EXPECT_EQ(Clean(), 5);
  ExpectOutputUntouched();
  EXPECT_THAT(engine.calls, ElementsAre("CheckSequenceTags"));
  EXPECT_EQ(Log(), "");
}

TEST_F(CleanSpectrumTest, ASequenceTagLetsTheSpectrumThrough) {
  params.bCheckSeqTags = true;
  engine.onCheckSequenceTags = [](Dta*, int, double, int, bool* pbHasTag) {
    *pbHasTag = true;
    return E_FAIL;
  };
  EXPECT_EQ(Clean(), 1);
  EXPECT_THAT(engine.calls, ElementsAre("CheckSequenceTags", "MakeEquidistant"));
  EXPECT_EQ(Peaks(out).size(), 8u);
}

TEST_F(CleanSpectrumTest, MergePeaksRunsOnTheCopyBeforeResampling) {
  params.bMergePeaks = true;
  params.dMergeSpacing = 0.4;
  engine.onMergePeaks = [this](Dta* pDta, double dSpacing) {
    EXPECT_NE(pDta, &in);
    EXPECT_DOUBLE_EQ(dSpacing, 0.4);
    pDta->SetIntensity(2, 0.0);
    return E_FAIL;  // not looked at
  };
  EXPECT_EQ(Clean(), 1);
  EXPECT_THAT(engine.calls, ElementsAre("MergePeaks", "MakeEquidistant"));
  EXPECT_THAT(Peaks(out), ::testing::ContainerEq(Points({1, 4, 5, 6, 7, 8, 9})));
  EXPECT_EQ(in.GetIntensity(2), 20.0);
}

// Deconvolution by charge: which stages run, in which order, and how their
// dense copies vote.
struct ChargeCase {
  int nCharge;
  std::vector<std::string> calls;
  std::vector<int> kept;
  std::vector<Peak> added;
};

class CleanSpectrumDeconvolution : public CleanSpectrumTest,
                                   public ::testing::WithParamInterface<ChargeCase> {};

TEST_P(CleanSpectrumDeconvolution, StagesByChargeAndTheirVotes) {
  const ChargeCase& c = GetParam();
  in = GridSpectrum(c.nCharge);
  params.bDeconvolute = true;
  ClusterList* pKnownFirst = nullptr;
  // Each dense copy gets point 3 filled in (which the output must never
  // see: nothing was there before) and one cluster at point 7 (charge 3)
  // or 8 (charge 2), which the deconvolution blanks and replaces.
  engine.onDenseSpectrum = [](int, Dta* pDense) {
    pDense->SetIntensity(3, 30.0);
    return S_OK;
  };
  engine.onFindChargeClusters = [&](Dta* pWork, Dta* pDense, int nCharge, IsotopeTemplates* pT,
                                    double dThreshold, ClusterList* pKnown) {
    EXPECT_EQ(pT->GetCharge(), nCharge);
    EXPECT_DOUBLE_EQ(dThreshold, 0.9);
    EXPECT_EQ(pWork->GetPeakCount(), 10u);
    EXPECT_NE(pWork, pDense);
    if (pKnownFirst == nullptr) {
      pKnownFirst = pKnown;
      EXPECT_TRUE(pKnown->empty());
    } else {
      EXPECT_EQ(pKnown, pKnownFirst);  // one list over both charges
      EXPECT_EQ(pKnown->size(), 1u);
    }
    const int at = nCharge == 3 ? 7 : 8;
    ClusterRef ref{pWork->vMass.cbegin() + at, pDense->vIntensity.begin() + at};
    pKnown->push_back(ref);
    return ClusterList{ref};
  };
  engine.onDeconvolute = [](Dta* pDense, ClusterList* pClusters, IsotopeTemplates* pT, bool bLog,
                            CStdioFile* pLog, DeconvolutedPeakList* pAdded) {
    EXPECT_TRUE(bLog);
    EXPECT_NE(pLog, nullptr);
    EXPECT_EQ(pClusters->size(), 1u);
    for (ClusterRef& ref : *pClusters) *ref.itIntensity = 0.0;
    EXPECT_EQ(pDense->GetIntensity(pT->GetCharge() == 3 ? 7 : 8), 0.0);
    pAdded->push_back({1000.0 + pT->GetCharge(), 1.0 * pT->GetCharge()});
    return S_OK;
  };
  EXPECT_EQ(Clean(), 1);
  EXPECT_EQ(engine.calls, c.calls);
  std::vector<Peak> expected;
  for (int i : c.kept) expected.push_back({GridMass(i), kIntensities[i]});
  expected.insert(expected.end(), c.added.begin(), c.added.end());
  EXPECT_EQ(Peaks(out), expected);
  // The replacement peaks are not counted among the kept ones.
  EXPECT_EQ(Log(), Format("\t-Total peaks removed: %d\n", 10 - static_cast<int>(c.kept.size())));
}

INSTANTIATE_TEST_SUITE_P(
    Charges, CleanSpectrumDeconvolution,
    ::testing::Values(
        ChargeCase{0, {"MakeEquidistant"}, {1, 2, 4, 5, 6, 7, 8, 9}, {}},
        ChargeCase{1, {"MakeEquidistant"}, {1, 2, 4, 5, 6, 7, 8, 9}, {}},
        ChargeCase{2,
                   {"MakeEquidistant", "DenseSpectrum 2", "FindChargeClusters 2", "Deconvolute 2"},
                   {1, 2, 4, 5, 6, 7, 9},
                   {{1002.0, 2.0}}},
        ChargeCase{3,
                   {"MakeEquidistant", "DenseSpectrum 3", "FindChargeClusters 3", "Deconvolute 3",
                    "DenseSpectrum 2", "FindChargeClusters 2", "Deconvolute 2"},
                   {1, 2, 4, 5, 6, 9},
                   {{1003.0, 3.0}, {1002.0, 2.0}}},
        ChargeCase{5,
                   {"MakeEquidistant", "DenseSpectrum 3", "FindChargeClusters 3", "Deconvolute 3",
                    "DenseSpectrum 2", "FindChargeClusters 2", "Deconvolute 2"},
                   {1, 2, 4, 5, 6, 9},
                   {{1003.0, 3.0}, {1002.0, 2.0}}}));

TEST_F(CleanSpectrumTest, NoiseStageDeletesPointsThatLoseMoreThanTheThreshold) {
  params.bRemoveNoise = true;
  params.nBandStopFrequency = 3;
  params.dNoiseThreshold = 50.0;
  tonalith.onBandStop = [](int nFrequency, const std::vector<double>& vX, std::vector<double>& vY) {
    EXPECT_EQ(nFrequency, 3);
    EXPECT_EQ(vX, std::vector<double>(std::begin(kIntensities), std::end(kIntensities)));
    EXPECT_TRUE(vY.empty());
    // Losses: 1 exactly 50 % (stays), 2 55 %, 4 driven negative (100 %),
    // 5 none, 6 a gain, 7 just above 50 %, 8 all, 9 exactly 50 %; 0 and 3
    // were empty and are neither kept nor counted.
    vY = {7, 5, 9, 7, -1, 50, 70, 34.99, 0, 45};
    return S_OK;
  };
  EXPECT_EQ(Clean(), 1);
  EXPECT_THAT(Peaks(out), ::testing::ContainerEq(Points({1, 5, 6, 9})));
  EXPECT_EQ(Log(),
            "\t-Random noise removing algorithm deleted 4 peaks.\n"
            "\t-Total peaks removed: 6\n");
}

// The failure rows: which box, which result, and an untouched output.
struct FailureCase {
  const char* name;
  int nCharge;
  std::function<void(CleanParams&, FakeEngine&, FakeTonalith&, RunState&)> arrange;
  int nResult;
  const char* box;  // nullptr: none
};

class CleanSpectrumFailure : public CleanSpectrumTest,
                             public ::testing::WithParamInterface<FailureCase> {};

TEST_P(CleanSpectrumFailure, ShowsItsBoxAndLeavesTheOutputAlone) {
  const FailureCase& c = GetParam();
  in = GridSpectrum(c.nCharge);
  c.arrange(params, engine, tonalith, state);
  EXPECT_EQ(Clean(), c.nResult);
  ExpectOutputUntouched();
  if (c.box == nullptr) {
    EXPECT_TRUE(boxes.boxes.empty());
  } else {
    ASSERT_EQ(boxes.boxes.size(), 1u);
    EXPECT_EQ(boxes.boxes[0].kind, BoxKind::Error);
    EXPECT_EQ(boxes.boxes[0].text, c.box);
  }
  // Nothing of the spectrum reaches the log: the total line is never written.
  EXPECT_EQ(Log().find("Total"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CleanSpectrumFailure,
    ::testing::Values(
        FailureCase{"NoEdit", 2, [](auto&, auto&, auto&, RunState& s) { s.pEditMSMS = nullptr; }, -2,
                    "Interfaces are not referenced."},
        FailureCase{"NoTonalith", 2, [](auto&, auto&, auto&, RunState& s) { s.pTonalith = nullptr; },
                    -2, "Interfaces are not referenced."},
        FailureCase{"NoAnalyze", 2,
                    [](auto&, auto&, auto&, RunState& s) { s.pAnalyzeMSMS = nullptr; }, -2,
                    "Interfaces are not referenced."},
        FailureCase{"NoExport", 2, [](auto&, auto&, auto&, RunState& s) { s.pExportMSMS = nullptr; },
                    -2, "Interfaces are not referenced."},
        FailureCase{"Resampling", 2,
                    [](auto&, FakeEngine& e, auto&, auto&) {
                      e.onMakeEquidistant = [](double, Dta*) { return E_UNEXPECTED; };
                    },
                    -1, nullptr},
        FailureCase{"Dense3", 3,
                    [](CleanParams& p, FakeEngine& e, auto&, auto&) {
                      p.bDeconvolute = true;
                      e.onDenseSpectrum = [](int z, Dta*) { return z == 3 ? E_FAIL : S_OK; };
                    },
                    -1, "dense spectrum failed"},
        FailureCase{"Dense2", 2,
                    [](CleanParams& p, FakeEngine& e, auto&, auto&) {
                      p.bDeconvolute = true;
                      e.onDenseSpectrum = [](int z, Dta*) { return z == 2 ? E_FAIL : S_OK; };
                    },
                    -1, "dense spectrum failed"},
        FailureCase{"Deconvolute3", 4,
                    [](CleanParams& p, FakeEngine& e, auto&, auto&) {
                      p.bDeconvolute = true;
                      e.onDeconvolute = [](Dta*, ClusterList*, IsotopeTemplates* t, bool,
                                           CStdioFile*, DeconvolutedPeakList*) {
                        return t->GetCharge() == 3 ? E_FAIL : S_OK;
                      };
                    },
                    -1, "3-fold deconvolution failed"},
        FailureCase{"Deconvolute2", 3,
                    [](CleanParams& p, FakeEngine& e, auto&, auto&) {
                      p.bDeconvolute = true;
                      e.onDeconvolute = [](Dta*, ClusterList*, IsotopeTemplates* t, bool,
                                           CStdioFile*, DeconvolutedPeakList*) {
                        return t->GetCharge() == 2 ? E_FAIL : S_OK;
                      };
                    },
                    -1, "2-fold deconvolution failed"},
        FailureCase{"BandStop", 2,
                    [](CleanParams& p, auto&, FakeTonalith& t, auto&) {
                      p.bRemoveNoise = true;
                      t.onBandStop = [](int, const std::vector<double>&, std::vector<double>&) {
                        return E_FAIL;
                      };
                    },
                    0, "Random noise removal failed"},
        FailureCase{"BandStopTooShort", 2,
                    [](CleanParams& p, auto&, FakeTonalith& t, auto&) {
                      p.bRemoveNoise = true;
                      t.onBandStop = [](int, const std::vector<double>&, std::vector<double>& y) {
                        y.assign(3, 1.0);
                        return S_OK;
                      };
                    },
                    0, "Random noise removal failed"}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.name); });

TEST_F(CleanSpectrumTest, AFailingDeisotopingRoutineIsReported) {
  // A spectrum long enough for the routine to reach the signal component,
  // whose every operation fails here.
  in = Dta();
  in.nCharge = 2;
  for (int i = 0; i < 4096; ++i) in.AddPeak(100.0 + 0.05 * i, i % 20 == 0 ? 100.0 : (i % 7) * 1.0);
  for (bool soft : {false, true}) {
    params.bDeisotope = true;
    params.bSoftBadSpectra = soft;
    params.nMaxPeriodicity = 25;
    params.nMedianFilter = 3;
    params.dDeisotopFilterWidth = 0.5;
    params.dDeisotopThreshold = 50;
    boxes.boxes.clear();
    EXPECT_EQ(Clean(), -1) << "soft " << soft;
    ASSERT_FALSE(boxes.boxes.empty());
    EXPECT_EQ(boxes.boxes.back().text, "Error deisotoping spectra");
    ExpectOutputUntouched();
  }
}

}  // namespace
}  // namespace orvane
